// An editable, self-contained snapshot of one sample stream: its id, value
// type, stream attributes and a typed sample buffer, written to and read from
// the snapshot byte format. Held by shared pointer; applied by streams.
// Not synchronised: one thread at a time may use a modifier.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/IStreamModifierRawBufferRoot.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class BasicBinarySerializer;
class BasicBinaryDeserializer;
class DataSourceStreamVariant;

class QZ_DSC_API DataSourceStreamModifier {
 public:
  // 1 makes the stream constant (its value is always its latest sample);
  // every other value, 0 included, makes it continuous.
  enum StreamFlowType : std::int32_t {
    StreamFlowType_Continuous = 0,
    StreamFlowType_Constant = 1,
  };

  // Passed to the stream as its interpolation word (1 here gives 0 there,
  // anything else 1); stored and reported only, never used for look-ups.
  enum StreamInterpolationType : std::int32_t {
    StreamInterpolationType_0 = 0,
    StreamInterpolationType_1 = 1,
  };

  // What SetAttribute sets, and the variant type it expects.
  enum StreamAttributeId : std::int32_t {
    FlowType = 1,            // int, 0 or 1
    LimitCount = 2,          // int
    FreezeDelay = 4,         // int, whole seconds
    InterpolationType = 8,   // int, 0 or 1
    DefaultValue = 16,       // the buffer's value type
    LowRange = 32,           // the buffer's value type
    HighRange = 64,          // the buffer's value type
    ValueUnit = 128,         // std::wstring
    TrailingAttribute = 256, // int, carried without interpretation
  };

  DataSourceStreamModifier();
  ~DataSourceStreamModifier();

  // Starts over with id and a new empty buffer for type. False (id empty,
  // type 0, no buffer) when type has no buffer (only 2, 3, 4, 5, 11 do).
  [[nodiscard]] bool Create(const std::wstring& id, const qz_ds::StreamBasicType& type);

  // Results of SetAttribute.
  static constexpr int kAttributeSet = 0;        // stored
  static constexpr int kAttributeWrongType = 1;  // the variant has the wrong type, or the buffer refused it
  static constexpr int kAttributeUnknown = 2;    // an unknown id, or a value attribute without a buffer
  static constexpr int kAttributeBadValue = 3;   // a flow or interpolation type other than 0 or 1

  // One of the kAttribute results; nothing changes unless it is kAttributeSet.
  [[nodiscard]] int SetAttribute(StreamAttributeId id, const DataSourceStreamVariant& value);

  // Removes the buffer's samples; attributes stay.
  void ClearData();

  [[nodiscard]] qz_ds::StreamBasicType GetType() const noexcept { return m_type; }
  [[nodiscard]] StreamFlowType GetFlowType() const noexcept { return m_flowType; }
  [[nodiscard]] int GetLimitCount() const noexcept { return m_limitCount; }
  [[nodiscard]] int GetFreezeDelay() const noexcept { return m_freezeDelay; }
  [[nodiscard]] StreamInterpolationType GetInterpolationType() const noexcept { return m_interpolationType; }
  [[nodiscard]] int GetTrailingAttribute() const noexcept { return m_trailingAttribute; }
  [[nodiscard]] const std::wstring& GetId() const noexcept { return m_id; }
  [[nodiscard]] std::wstring GetValueUnit() const { return m_valueUnit; }
  [[nodiscard]] std::shared_ptr<IStreamModifierRawBufferRoot> GetInternalBuffer() const { return m_buffer; }

  // 0 on success; -1 without a buffer, or when the serializer fails.
  [[nodiscard]] int SerializeTo(BasicBinarySerializer& s) const;
  // 0 on success; -1 when the input runs short or names a type without a
  // buffer. After a failure the modifier holds a mix of old and new fields
  // and should be discarded. Length errors of the reader pass through.
  [[nodiscard]] int DeserializeFrom(BasicBinaryDeserializer& d);

 private:
  // Drops the buffer, empties the id and sets the type to 0.
  void InternalCleanup();

  qz_ds::StreamBasicType m_type = qz_ds::StreamBasicType_None;
  StreamFlowType m_flowType = StreamFlowType_Continuous;
  std::int32_t m_limitCount = 0;
  std::int32_t m_freezeDelay = 0;
  StreamInterpolationType m_interpolationType = StreamInterpolationType_0;
  std::wstring m_id;
  std::wstring m_valueUnit;
  std::shared_ptr<IStreamModifierRawBufferRoot> m_buffer;
  std::int32_t m_trailingAttribute = 0;
};

}  // namespace qz_dsc
