// External sample streams: the streams of a data source whose samples an
// importer reads from a data file. CreateDataSourceStreamExternal makes one;
// the importer fills it through DataSourceStreamExtended<T> (AddSample,
// AddSamples, ReplaceSamples) and sets its time base through
// DataSourceStreamExternal, both reached by std::dynamic_pointer_cast.
// Lookups interpolate between samples (numbers and vectors) or hold the
// previous sample (strings and skeletons).
//
// Threads: as DataSourceStreamRoot; Rebase changes the presentation offset
// without taking the stream's lock.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/DataSourceStreamRoot.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

// What an importer sets on an external stream beyond its samples.
class QZ_DSC_API DataSourceStreamExternal {
 public:
  virtual ~DataSourceStreamExternal();

  // The time base of the sample keys: a sample stored under key k is shown
  // at presentation time k - time base + video offset. 0 until set.
  virtual void SetTimeBase(std::int64_t timeBase) = 0;
  virtual std::int64_t GetTimeBase() = 0;
};

// A new external stream named name for basic type 2, 3, 4, 5, 6, 11 or 12;
// an empty pointer for any other type.
QZ_DSC_API std::shared_ptr<DataSourceStreamRoot> CreateDataSourceStreamExternal(qz_ds::StreamBasicType type,
                                                                                const std::wstring& name);

}  // namespace qz_dsc
