// Untyped interface of a stream snapshot's sample buffer: its samples, default
// value and value range, written to and read from the snapshot byte format.
// Values cross it inside a DataSourceStreamVariant of the buffer's type.
// Not synchronised: one thread at a time may use a buffer.
#pragma once

#include <cstdint>

#include "qz_dsc/export.h"

namespace qz_dsc {

class BasicBinarySerializer;
class BasicBinaryDeserializer;
class DataSourceStreamVariant;

class QZ_DSC_API IStreamModifierRawBufferRoot {
 public:
  virtual ~IStreamModifierRawBufferRoot();

  // Removes every sample; the flags, the default value and the range stay.
  virtual void ClearData() = 0;
  // Number of samples held.
  [[nodiscard]] virtual int GetCount() const = 0;
  // 0 on success, -1 when the serializer fails.
  [[nodiscard]] virtual int SerializeTo(BasicBinarySerializer& s) const = 0;
  // 0 on success, -1 when the input runs short; samples read are appended to
  // those already held. May throw std::length_error for impossible lengths.
  [[nodiscard]] virtual int DeserializeFrom(BasicBinaryDeserializer& d) = 0;
  // Appends (time in 100-ns ticks, value); 1 when the variant has the wrong type.
  [[nodiscard]] virtual int AddSample(std::int64_t time, const DataSourceStreamVariant& value) = 0;
  // Each stores the value and sets its presence flag; 1 on a type mismatch.
  [[nodiscard]] virtual int SetDefaultValue(const DataSourceStreamVariant& value) = 0;
  [[nodiscard]] virtual int SetLowRange(const DataSourceStreamVariant& value) = 0;
  [[nodiscard]] virtual int SetHighRange(const DataSourceStreamVariant& value) = 0;

 protected:
  IStreamModifierRawBufferRoot() = default;
  IStreamModifierRawBufferRoot(const IStreamModifierRawBufferRoot&) = default;
  IStreamModifierRawBufferRoot& operator=(const IStreamModifierRawBufferRoot&) = default;
};

}  // namespace qz_dsc
