// Writes the seed inputs of the fuzz targets with the library itself: snapshot
// records of every buffer type, reader scripts over serialized values, time
// inputs with the texts of every format, and a data source list document
// written by the encoders.
// Usage: fuzz_make_seeds <corpus folder>; one sub-folder per target.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "binary_deserializer_ops.h"
#include "qz_com/ComPtr.h"
#include "qz_dom/qz_dom.h"
#include "qz_dsc/BasicBinarySerializer.h"
#include "qz_dsc/DataSourceEncDecCommon.h"
#include "qz_dsc/DataSourceModifier.h"
#include "qz_dsc/DataSourceStreamEncoder.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/DataSourceUnitEncoder.h"
#include "qz_dsc/Ticks.h"
#include "qz_dsc/TimeValueText.h"
#include "xml/DataSourceUnitMgrEncoder.h"

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<unsigned char>;
using qz_dsc::DataSourceStreamModifier;
using qz_dsc::DataSourceStreamVariantDerived;

fs::path g_root;
bool g_ok = true;

void Save(const char* target, const std::string& name, const Bytes& bytes) {
  const fs::path folder = g_root / target;
  fs::create_directories(folder);
  std::ofstream out(folder / name, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!out) {
    std::fprintf(stderr, "cannot write %s/%s\n", target, name.c_str());
    g_ok = false;
  }
}

// Records a failed step of building a seed.
void Must(bool done, const char* what) {
  if (done) return;
  std::fprintf(stderr, "seed step failed: %s\n", what);
  g_ok = false;
}

void SetOrFail(DataSourceStreamModifier& stream, DataSourceStreamModifier::StreamAttributeId id,
               const qz_dsc::DataSourceStreamVariant& value) {
  Must(stream.SetAttribute(id, value) == DataSourceStreamModifier::kAttributeSet, "SetAttribute");
}

template <typename Writable>
Bytes Serialize(const Writable& record) {
  qz_dsc::BasicBinarySerializer s(1 << 16);
  if (record.SerializeTo(s) != 0) {
    std::fprintf(stderr, "a seed record does not write\n");
    g_ok = false;
  }
  return Bytes(s.GetBuffer(), s.GetBuffer() + s.GetLength());
}

template <typename T>
std::shared_ptr<DataSourceStreamModifier> MakeStream(const std::wstring& id, qz_ds::StreamBasicType type, const T& low,
                                                     const T& high, bool withRange) {
  auto stream = std::make_shared<DataSourceStreamModifier>();
  Must(stream->Create(id, type), "Create");
  SetOrFail(*stream, DataSourceStreamModifier::FlowType, DataSourceStreamVariantDerived<int>(1));
  SetOrFail(*stream, DataSourceStreamModifier::LimitCount, DataSourceStreamVariantDerived<int>(10));
  SetOrFail(*stream, DataSourceStreamModifier::ValueUnit, DataSourceStreamVariantDerived<std::wstring>(L"m/s\u00b2"));
  if (withRange) {
    SetOrFail(*stream, DataSourceStreamModifier::DefaultValue, DataSourceStreamVariantDerived<T>(low));
    SetOrFail(*stream, DataSourceStreamModifier::LowRange, DataSourceStreamVariantDerived<T>(low));
    SetOrFail(*stream, DataSourceStreamModifier::HighRange, DataSourceStreamVariantDerived<T>(high));
  }
  // Times below and above one second, where the snapshot conversion differs.
  const std::int64_t times[] = {0, 5'000'000, 15'000'000, -2'500'000};
  for (std::int64_t time : times) {
    Must(stream->GetInternalBuffer()->AddSample(time, DataSourceStreamVariantDerived<T>(high)) == 0, "AddSample");
  }
  return stream;
}

void SnapshotRecordSeeds() {
  qz_math::Vector2 v2;
  v2[0] = 1.5;
  v2[1] = -2.0;
  qz_math::VectorN<6> v6;
  for (int i = 0; i < 6; ++i) v6[i] = i * 0.25;
  std::vector<std::shared_ptr<DataSourceStreamModifier>> streams = {
      MakeStream<int>(L"count", qz_ds::StreamBasicType_Int, -3, 70000, true),
      MakeStream<double>(L"speed", qz_ds::StreamBasicType_Float, 0.0, 60.5, true),
      MakeStream<std::wstring>(L"gear", qz_ds::StreamBasicType_String, L"N", L"\U0001F697 5", false),
      MakeStream<qz_math::Vector2>(L"position", qz_ds::StreamBasicType_Vector2, qz_math::Vector2(), v2, true),
      MakeStream<qz_math::VectorN<6>>(L"pose", qz_ds::StreamBasicType_Vector6, qz_math::VectorN<6>(), v6, false),
  };
  qz_dsc::DataSourceModifier source;
  source.SetId(L"Vehicle");
  int index = 0;
  for (const auto& stream : streams) {
    Bytes one{1};  // selector: a single stream record
    const Bytes record = Serialize(*stream);
    one.insert(one.end(), record.begin(), record.end());
    Save("snapshot_records", "stream-" + std::to_string(index++), one);
    Must(source.AddStream(stream), "AddStream");
  }
  Bytes all{0};  // selector: a data source record
  const Bytes record = Serialize(source);
  all.insert(all.end(), record.begin(), record.end());
  Save("snapshot_records", "data-source", all);
}

void BinaryDeserializerSeeds() {
  qz_dsc::BasicBinarySerializer s(1024);
  qz_math::Vector2 v2;
  v2[0] = 0.5;
  v2[1] = -1.0;
  qz_math::VectorN<6> v6;
  for (int i = 0; i < 6; ++i) v6[i] = i;
  s << -5 << 7u << std::int64_t{-9} << std::uint64_t{11} << 1.25f << 2.5 << std::wstring(L"ab\U0001F600")
    << qz_std::TimeValue(2, 500'000) << v2 << v6;
  const Bytes data(s.GetBuffer(), s.GetBuffer() + s.GetLength());

  auto script = [&](const Bytes& ops) {
    Bytes input{static_cast<unsigned char>(data.size() & 0xFF), static_cast<unsigned char>(data.size() >> 8)};
    input.insert(input.end(), data.begin(), data.end());
    input.insert(input.end(), ops.begin(), ops.end());
    return input;
  };
  using fuzz::Code;
  const Bytes readAll = {Code(fuzz::kReadInt),    Code(fuzz::kReadUInt),    Code(fuzz::kReadInt64),
                         Code(fuzz::kReadUInt64), Code(fuzz::kReadFloat),   Code(fuzz::kReadDouble),
                         Code(fuzz::kReadString), Code(fuzz::kReadTime),    Code(fuzz::kReadVector2),
                         Code(fuzz::kReadVector6), Code(fuzz::kPeekInt),    Code(fuzz::kReadInt)};
  Save("binary_deserializer", "read-all", script(readAll));
  // A sub-reader copied from position 4 into slot 1, read there, compacted
  // and read past its end; then a seek past the end and a reset.
  const Bytes subReader = {Code(fuzz::kReadInt), Code(fuzz::kCreateDeserializer), 1, 0, 0, 0, 0, 1,
                           Code(fuzz::kReadUInt, 1), Code(fuzz::kResize, 1), 8, 0, Code(fuzz::kReadVector6, 1),
                           Code(fuzz::kSeekTo), 0xFF, 0xFF, Code(fuzz::kClear), Code(fuzz::kReadTime),
                           Code(fuzz::kReset), Code(fuzz::kSeekTo), 24, 0, Code(fuzz::kReadString)};
  Save("binary_deserializer", "sub-reader", script(subReader));
  const Bytes attach = {Code(fuzz::kAttachInput, 2), 4, 0, 20, 0, 1, Code(fuzz::kReadUInt, 2),
                        Code(fuzz::kAttachInput, 2), 0, 0, 8, 0, 1, Code(fuzz::kReadInt64, 2),
                        Code(fuzz::kConstruct, 3), 0, 0, 4, 0, 0, Code(fuzz::kReadInt, 3)};
  Save("binary_deserializer", "attach", script(attach));
}

// Time inputs: the text first, then the integers, which the target takes
// from the end (ticks, format, rate numerator, rate denominator, stamp).
void TimeTextSeeds() {
  const std::int64_t times[] = {0, 51'234'567, -15'000'000, 3'723'000'0000, 846'000'000'000, INT64_MIN};
  int index = 0;
  for (std::int64_t ticks : times) {
    for (int format = 0; format < qz_dsc::kTimeFormatCount; format += 3) {
      const std::wstring text = qz_dsc::FormatTimeValue(ticks, format, 25, 1);
      Bytes input;
      for (wchar_t c : text) input.push_back(static_cast<unsigned char>(c));
      for (int i = 0; i < 4 * 7 + 1; ++i) input.push_back(static_cast<unsigned char>(i));
      for (int i = 0; i < 4; ++i) input.push_back(static_cast<unsigned char>(i == 3 ? 1 : 0));  // denominator
      for (int i = 0; i < 4; ++i) input.push_back(static_cast<unsigned char>(i == 3 ? 25 : 0));  // numerator
      for (int i = 0; i < 4; ++i) input.push_back(static_cast<unsigned char>(i == 3 ? format + 2 : 0));
      for (int i = 7; i >= 0; --i) input.push_back(static_cast<unsigned char>(static_cast<std::uint64_t>(ticks) >> (8 * i)));
      Save("time_text", "time-" + std::to_string(index++), input);
    }
  }
}

void DataSourceListSeeds() {
  qz_com::ComPtr<IXMLDOMDocument> doc;
  if (qz_dsc::DataSourceEncDecCommon::CreateDocument(doc.GetAddressOf()) != S_OK) {
    g_ok = false;
    return;
  }
  qz_dsc::DataSourceUnitMgrEncoder manager(doc.Get());
  if (!manager.CreateDescriptionUnit()) {
    std::fprintf(stderr, "no description unit\n");
    g_ok = false;
    return;
  }
  qz_dsc::DataSourceUnitEncoder recorded(manager.GetDescriptionUnit(), L"base");
  Must(recorded.CreateDataSource(L"Vehicle", false, L"", L"", L"", false), "CreateDataSource");
  qz_dsc::DataSourceStreamEncoder stream;
  Must(recorded.CreateStreamEncoder(stream), "CreateStreamEncoder");
  Must(stream.CreateStream(1, qz_ds::StreamBasicType_Vector2, L"Position"), "CreateStream");
  Must(stream.SetFreeze(3, 2'500'000), "SetFreeze");
  Must(stream.SetDataVideoOffset(-5'000'000), "SetDataVideoOffset");
  Must(stream.SetDefaultValue(L"0 0"), "SetDefaultValue");
  Must(stream.SetFirstSampleTime(10'000'000), "SetFirstSampleTime");
  Must(stream.SetFlowType(1), "SetFlowType");
  Must(stream.SetRange(L"-1 -1", L"1 1"), "SetRange");
  Must(stream.SetValueUnit(L"m"), "SetValueUnit");
  Must(stream.AddSample(L"0.5 0.25", 0), "AddSample");
  Must(stream.AddSample(L"1 1", 15'000'000), "AddSample");
  qz_dsc::DataSourceUnitEncoder external(manager.GetDescriptionUnit(), L"base");
  Must(external.CreateDataSource(L"Heart rate", true, L"base/heart_rate.csv", L"QZ.CSV", L"{\"separator\":\";\"}",
                                 true),
       "CreateDataSource");
  std::wstring xml;
  doc->get_xml(&xml);
  std::string utf8;
  for (wchar_t c : xml) {
    if (c < 0x80) utf8.push_back(static_cast<char>(c));  // the written document is ASCII here
  }
  Save("data_source_list", "written", Bytes(utf8.begin(), utf8.end()));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s <corpus folder>\n", argv[0]);
    return 2;
  }
  g_root = argv[1];
  SnapshotRecordSeeds();
  BinaryDeserializerSeeds();
  TimeTextSeeds();
  DataSourceListSeeds();
  return g_ok ? 0 : 1;
}
