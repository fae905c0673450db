#include "qz_math/Vector.h"

namespace qz_math {

Vector::Vector(int dimension) : m_values(dimension > 0 ? static_cast<std::size_t>(dimension) : 0, 0.0) {}

}  // namespace qz_math
