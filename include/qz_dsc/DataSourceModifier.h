// An editable snapshot of a whole data source: its id and an ordered list of
// stream snapshots, written to and read from the snapshot byte format. A host
// builds one, moves it through bytes and hands it to the manager to apply.
// Not synchronised: one thread at a time may use a modifier.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/export.h"

namespace qz_dsc {

class BasicBinarySerializer;
class BasicBinaryDeserializer;

class QZ_DSC_API DataSourceModifier {
 public:
  DataSourceModifier();
  ~DataSourceModifier();

  // Appends stream; false for an empty pointer. Ids are not checked for duplicates.
  [[nodiscard]] bool AddStream(std::shared_ptr<DataSourceStreamModifier> stream);
  // Removes every stream; the id stays.
  void Clear();
  // Removes the samples of every stream; attributes stay.
  void ClearData();

  [[nodiscard]] const std::wstring& GetId() const noexcept { return m_id; }
  void SetId(const std::wstring& id) { m_id = id; }

  [[nodiscard]] int GetStreamModifierCount() const noexcept;
  // The first stream whose id equals id exactly (case-sensitive), or empty.
  [[nodiscard]] std::shared_ptr<DataSourceStreamModifier> GetStreamModifier(const std::wstring& id) const;
  // The stream at index, or empty when index is outside 0..count-1.
  [[nodiscard]] std::shared_ptr<DataSourceStreamModifier> GetStreamModifier(int index) const;

  // Writes nothing; kept for hosts that call it.
  void Dump(std::wostream& out);

  // 0 on success, -1 when the serializer fails.
  [[nodiscard]] int SerializeTo(BasicBinarySerializer& s) const;
  // 0 on success, -1 on damaged or short input. Streams held before are always
  // dropped; after a failure past the header the new id is kept with no
  // streams. Length errors of the reader pass through.
  [[nodiscard]] int DeserializeFrom(BasicBinaryDeserializer& d);

 private:
  std::vector<std::shared_ptr<DataSourceStreamModifier>> m_streams;
  std::wstring m_id;
};

}  // namespace qz_dsc
