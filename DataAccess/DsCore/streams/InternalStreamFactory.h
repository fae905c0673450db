// Makes the internal (recorded) stream for a basic type: the units create
// their streams through it when they record or load a data source.
// Stateless; safe from any thread.
#pragma once

#include <memory>

#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_ds/qz_ds.h"

namespace qz_dsc {

// A new empty stream for types 2 (int), 3 (double), 4 (string), 5 (Vector2)
// and 11 (VectorN<6>); an empty pointer for every other number.
std::shared_ptr<DataSourceStreamRoot> CreateInternalStream(qz_ds::StreamBasicType type);

}  // namespace qz_dsc
