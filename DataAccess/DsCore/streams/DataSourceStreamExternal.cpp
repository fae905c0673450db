// The exported entry to external streams: the factory, and the anchor of the
// time-base interface's virtual table and type information in the shared
// library, so that importers elsewhere cast streams to it.
#include "qz_dsc/DataSourceStreamExternal.h"

#include <cstdint>

#include "streams/DataSourceStreamExternalTempl.h"

namespace qz_dsc {
namespace {

template <class T>
std::shared_ptr<DataSourceStreamRoot> MakeExternal(const std::wstring& name) {
  auto stream = std::make_shared<DataSourceStreamExternalTempl<T>>();
  stream->Initialize(name, false);
  return stream;
}

}  // namespace

DataSourceStreamExternal::~DataSourceStreamExternal() = default;

std::shared_ptr<DataSourceStreamRoot> CreateDataSourceStreamExternal(qz_ds::StreamBasicType type,
                                                                     const std::wstring& name) {
  switch (type) {
    case qz_ds::StreamBasicType_Int:
      return MakeExternal<std::int32_t>(name);
    case qz_ds::StreamBasicType_Float:
      return MakeExternal<double>(name);
    case qz_ds::StreamBasicType_String:
      return MakeExternal<std::wstring>(name);
    case qz_ds::StreamBasicType_Vector2:
      return MakeExternal<qz_math::Vector2>(name);
    case qz_ds::StreamBasicType_Vector3:
      return MakeExternal<qz_math::Vector3>(name);
    case qz_ds::StreamBasicType_Vector6:
      return MakeExternal<qz_math::VectorN<6>>(name);
    case qz_ds::StreamBasicType_PersonSkeleton:
      return MakeExternal<qz_ovlib::PersonSkeletonData>(name);
    default:
      return nullptr;
  }
}

}  // namespace qz_dsc
