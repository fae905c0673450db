// A value of one of the sample types, passed through the untyped sample-buffer
// and stream-modifier interfaces. Receivers recognise the type by a dynamic
// cast to the DataSourceStreamVariantDerived<T> they expect.
// A variant is immutable once built and may be read from any thread.
#pragma once

#include <string>
#include <utility>

#include "qz_dsc/export.h"
#include "qz_math/Vector.h"

namespace qz_dsc {

class QZ_DSC_API DataSourceStreamVariant {
 public:
  virtual ~DataSourceStreamVariant();

 protected:
  DataSourceStreamVariant() = default;
  DataSourceStreamVariant(const DataSourceStreamVariant&) = default;
  DataSourceStreamVariant& operator=(const DataSourceStreamVariant&) = default;
};

// Holds one value of T. Built for int, double, std::wstring, qz_math::Vector2
// and qz_math::VectorN<6>.
template <class T>
class DataSourceStreamVariantDerived : public DataSourceStreamVariant {
 public:
  explicit DataSourceStreamVariantDerived(const T& value) : m_value(value) {}
  explicit DataSourceStreamVariantDerived(T&& value) : m_value(std::move(value)) {}

  const T& GetValue() const noexcept { return m_value; }

 private:
  T m_value;
};

extern template class QZ_DSC_API DataSourceStreamVariantDerived<int>;
extern template class QZ_DSC_API DataSourceStreamVariantDerived<double>;
extern template class QZ_DSC_API DataSourceStreamVariantDerived<std::wstring>;
extern template class QZ_DSC_API DataSourceStreamVariantDerived<qz_math::Vector2>;
extern template class QZ_DSC_API DataSourceStreamVariantDerived<qz_math::VectorN<6>>;

}  // namespace qz_dsc
