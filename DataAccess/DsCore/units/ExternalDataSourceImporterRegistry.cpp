// The process-wide registry of importer factories, keyed by converter name
// (ordinal, case-sensitive). It has no lock: hosts register their factories
// before any document is loaded, and lookups only read it after that.
#include <map>
#include <string>
#include <utility>

#include "qz_dsc/IExternalDataSourceImporter.h"

namespace qz_dsc {
namespace {

using FactoryMap = std::map<std::wstring, ExternalDataSourceImporterFactory>;

// Created on first use, so that a host registering from its own static
// initialisers finds it ready.
FactoryMap& Registry() {
  static FactoryMap registry;
  return registry;
}

}  // namespace

IExternalDataSourceImporter::~IExternalDataSourceImporter() = default;

bool RegisterExternalDataSourceImporterFactory(std::wstring converterName, ExternalDataSourceImporterFactory factory) {
  // The first registration of a name wins; a later factory is dropped uncalled.
  Registry().try_emplace(std::move(converterName), std::move(factory));
  return true;
}

std::shared_ptr<IExternalDataSourceImporter> CreateExternalDataSourceImporter(std::wstring converterName) {
  // A converter name may carry a suffix after "|" that only its importer reads.
  const std::size_t bar = converterName.find(L'|');
  if (bar != std::wstring::npos) converterName.resize(bar);
  const FactoryMap& registry = Registry();
  const auto it = registry.find(converterName);
  if (it == registry.end()) return nullptr;
  return it->second();  // an empty factory throws std::bad_function_call
}

}  // namespace qz_dsc
