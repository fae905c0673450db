#include "qz_dsc/DataSourceStreamVariant.h"

namespace qz_dsc {

// Out of line so that the type information every receiver casts against lives
// in the library once.
DataSourceStreamVariant::~DataSourceStreamVariant() = default;

}  // namespace qz_dsc
