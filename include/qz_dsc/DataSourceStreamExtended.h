// The typed interface of a sample stream: the samples and value attributes of
// a stream of T, over the description library's DataSourceStream<T>.
// DataSourceStreamImp2<Kind, T> answers the three identity slots (basic type,
// implementation kind, name) for the stream classes: Kind is 1234 for an
// internal stream, 1235 for an external one.
//
// Times: the adders take acquisition times and store them as given; every
// getter takes and returns presentation times. All times are 100-ns ticks.
//
// Threads: as DataSourceStreamRoot. GetBasicType, GetImplementationKind and
// GetName take no lock; the name is set only while a stream is being
// initialised or loaded, before it is handed to other threads.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/StreamTypes.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

template <class T>
class QZ_DSC_API DataSourceStreamExtended : public qz_ds::DataSourceStream<T> {
 public:
  using Sample = typename qz_ds::DataSourceStream<T>::Sample;

  // Adds the samples in order and stops at the first one refused (beyond
  // stop time + freeze delay); true when every sample was taken.
  virtual bool AddSamples(const std::vector<Sample>& samples) = 0;
  // Adds one sample; false when it was refused.
  virtual bool AddSample(std::int64_t time, const T& value) = 0;
  // Takes samples over as the whole store, leaving the argument empty; the
  // limit count is not applied.
  virtual void ReplaceSamples(std::map<std::int64_t, T>&& samples) = 0;
  // Marks the range as set; stores the bounds only when low <= high.
  virtual void SetValueRange(const T& low, const T& high) = 0;
  virtual void SetValueUnit(const wchar_t* unit) = 0;
  virtual void SetDefaultValue(const T& value) = 0;
  virtual void SetConstant(bool constant) = 0;
  virtual bool IsConstant() = 0;
  virtual void SetFirstSampleTime(std::int64_t time) = 0;
};

template <std::int32_t Kind, class T>
class DataSourceStreamImp2 : public DataSourceStreamExtended<T> {
 public:
  qz_ds::StreamBasicType GetBasicType() const override { return StreamValueType<T>::value; }
  std::int32_t GetImplementationKind() const override { return Kind; }
  const std::wstring& GetName() const override { return m_name; }

 protected:
  std::wstring m_name;
};

}  // namespace qz_dsc
