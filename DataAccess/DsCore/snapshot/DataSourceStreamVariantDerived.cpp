#include "qz_dsc/DataSourceStreamVariant.h"

namespace qz_dsc {

// The one copy of each variant type; the header's declarations of these
// instantiations carry the export attribute.
template class DataSourceStreamVariantDerived<int>;
template class DataSourceStreamVariantDerived<double>;
template class DataSourceStreamVariantDerived<std::wstring>;
template class DataSourceStreamVariantDerived<qz_math::Vector2>;
template class DataSourceStreamVariantDerived<qz_math::VectorN<6>>;

}  // namespace qz_dsc
