#include "streams/InternalStreamFactory.h"

#include <string>

#include "streams/DataSourceStreamTempl.h"

namespace qz_dsc {

std::shared_ptr<DataSourceStreamRoot> CreateInternalStream(qz_ds::StreamBasicType type) {
  switch (type) {
    case qz_ds::StreamBasicType_Int:
      return std::make_shared<DataSourceStreamTempl<std::int32_t>>();
    case qz_ds::StreamBasicType_Float:
      return std::make_shared<DataSourceStreamTempl<double>>();
    case qz_ds::StreamBasicType_String:
      return std::make_shared<DataSourceStreamTempl<std::wstring>>();
    case qz_ds::StreamBasicType_Vector2:
      return std::make_shared<DataSourceStreamTempl<qz_math::Vector2>>();
    case qz_ds::StreamBasicType_Vector6:
      return std::make_shared<DataSourceStreamTempl<qz_math::VectorN<6>>>();
    default:
      return nullptr;
  }
}

}  // namespace qz_dsc
