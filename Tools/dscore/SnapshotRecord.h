// A data source's streams as an in-memory snapshot record (the library's
// DataSourceModifier): flow type, value unit, default value and samples of
// every stream whose value type has a snapshot buffer. Used to write
// snapshot files and to copy imported samples into an internal data source.
#pragma once

#include <string>
#include <vector>

#include "StreamHandle.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/IDataSourceUnit.h"

namespace dscore_cli {

// Fills record with the streams of source (id and streams replaced). Streams
// of types without a snapshot form (3-vectors, skeletons) are not added;
// their handles are appended to leftOut. ToolError (bad input) when a record
// cannot be built.
void BuildSnapshotRecord(qz_dsc::IDataSourceUnit* source, qz_dsc::DataSourceModifier& record,
                         std::vector<StreamHandle>& leftOut);

}  // namespace dscore_cli
