#include <gtest/gtest.h>

#include <functional>

#include "qz_dsc/IExternalDataSourceImporter.h"

using namespace qz_dsc;

namespace {

// An importer that only tells which factory made it.
class TaggedImporter : public IExternalDataSourceImporter {
 public:
  explicit TaggedImporter(int tag) : tag(tag) {}
  HRESULT Import(const std::wstring&, const std::wstring&, IDataSourceUnitExternal*) override { return S_OK; }
  const int tag;
};

ExternalDataSourceImporterFactory Factory(int tag, int* calls = nullptr) {
  return [tag, calls] {
    if (calls != nullptr) ++*calls;
    return std::make_shared<TaggedImporter>(tag);
  };
}

int TagOf(const std::wstring& name) {
  auto importer = std::dynamic_pointer_cast<TaggedImporter>(CreateExternalDataSourceImporter(name));
  return importer ? importer->tag : 0;
}

}  // namespace

// The registry lives for the whole process: each test uses names of its own.
TEST(ExternalDataSourceImporterRegistry, FirstRegistrationWinsAndTheLaterFactoryIsNeverCalled) {
  int laterCalls = 0;
  EXPECT_TRUE(RegisterExternalDataSourceImporterFactory(L"REG.FIRST", Factory(1)));
  EXPECT_TRUE(RegisterExternalDataSourceImporterFactory(L"REG.FIRST", Factory(2, &laterCalls)));
  EXPECT_EQ(TagOf(L"REG.FIRST"), 1);
  EXPECT_EQ(laterCalls, 0);
}

TEST(ExternalDataSourceImporterRegistry, LookupIsExactUpToTheFirstBar) {
  ASSERT_TRUE(RegisterExternalDataSourceImporterFactory(L"REG.CSV", Factory(3)));
  ASSERT_TRUE(RegisterExternalDataSourceImporterFactory(L"", Factory(4)));
  const std::pair<std::wstring, int> cases[] = {
      {L"REG.CSV", 3}, {L"REG.CSV|", 3}, {L"REG.CSV|sep=;|x", 3}, {L"reg.csv", 0},
      {L"REG.CSV ", 0}, {L"REG.CS", 0},  {L"|REG.CSV", 4},        {L"REG.UNKNOWN", 0},
  };
  for (const auto& [name, tag] : cases) EXPECT_EQ(TagOf(name), tag) << std::string(name.begin(), name.end());
}

TEST(ExternalDataSourceImporterRegistry, EmptyFactoryThrowsAndNullImporterPassesThrough) {
  ASSERT_TRUE(RegisterExternalDataSourceImporterFactory(L"REG.EMPTY", ExternalDataSourceImporterFactory()));
  EXPECT_THROW(CreateExternalDataSourceImporter(L"REG.EMPTY"), std::bad_function_call);
  ASSERT_TRUE(RegisterExternalDataSourceImporterFactory(L"REG.NULL", [] { return nullptr; }));
  EXPECT_EQ(CreateExternalDataSourceImporter(L"REG.NULL"), nullptr);
}
