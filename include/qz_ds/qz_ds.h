// Data-source description library stand-in: the basic sample type codes, the
// description of a data source (id and a list of stream name, type and unit),
// and the interfaces through which the overlay library reads streams and data
// sources. Descriptions are value types; the interfaces' thread safety is the
// implementer's.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace qz_ds {

// Sample value type code; also the index into the XML type name table.
enum StreamBasicType : std::int32_t {
  StreamBasicType_None = 0,
  StreamBasicType_Boolean = 1,
  StreamBasicType_Int = 2,
  StreamBasicType_Float = 3,
  StreamBasicType_String = 4,
  StreamBasicType_Vector2 = 5,
  StreamBasicType_Vector3 = 6,
  StreamBasicType_Vector4 = 7,
  StreamBasicType_Matrix3 = 8,
  StreamBasicType_Matrix4 = 9,
  StreamBasicType_ImageID = 10,
  StreamBasicType_Vector6 = 11,
  StreamBasicType_PersonSkeleton = 12,
};

class StreamInfo {
 public:
  StreamInfo(const std::wstring& name, StreamBasicType type) : m_name(name), m_type(type) {}
  const std::wstring& GetName() const noexcept { return m_name; }
  StreamBasicType GetType() const noexcept { return m_type; }
  const std::wstring& GetUnitName() const noexcept { return m_unitName; }
  void SetUnitName(const std::wstring& unit) { m_unitName = unit; }

 private:
  std::wstring m_name;
  StreamBasicType m_type;
  std::wstring m_unitName;
};

class DataSourceInfo {
 public:
  void SetId(const std::wstring& id) { m_id = id; }
  const std::wstring& GetId() const noexcept { return m_id; }
  void AddStream(const StreamInfo& info) { m_streams.push_back(info); }
  const std::vector<StreamInfo>& GetStreams() const noexcept { return m_streams; }
  void Clear() {
    m_id.clear();
    m_streams.clear();
  }

 private:
  std::wstring m_id;
  std::vector<StreamInfo> m_streams;
};

// Untyped view of a sample stream.
class DataSourceStreamBase {
 public:
  virtual ~DataSourceStreamBase() = default;
  virtual StreamBasicType GetBasicType() const = 0;
  // 1234 for an internal stream, 1235 for an external one.
  virtual std::int32_t GetImplementationKind() const = 0;
  virtual const std::wstring& GetName() const = 0;
  // Stamp of the last change, in 100-ns units from an arbitrary origin.
  virtual std::int64_t GetLastModified() const = 0;
  virtual std::wstring GetValueUnit() const = 0;
};

// Typed view of a sample stream; times are presentation times in 100-ns ticks.
template <class T>
class DataSourceStream : public DataSourceStreamBase {
 public:
  using Sample = std::pair<std::int64_t, T>;
  // Appends the samples with time in [from, to]; returns 0.
  virtual int GetSamples(std::int64_t from, std::int64_t to, std::vector<Sample>& out) = 0;
  // The value in effect at time t; returns 0.
  virtual int GetValueAt(std::int64_t t, std::int64_t reserved, T& out) = 0;
  virtual bool GetValueRange(T& low, T& high) = 0;
  virtual bool GetTimeSpan(std::int64_t& first, std::int64_t& last) = 0;
  virtual T GetDefaultValue() = 0;
};

// One data source as the overlay library sees it.
class DataSource {
 public:
  virtual ~DataSource() = default;
  virtual DataSourceInfo GetDataSourceInfo() = 0;
  // The stream of that name, or an empty pointer.
  virtual std::shared_ptr<DataSourceStreamBase> GetStream(const std::wstring& name) = 0;
  virtual void Refresh() = 0;
  virtual void Invalidate() = 0;
};

}  // namespace qz_ds
