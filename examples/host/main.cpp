// A host of DsCore: edits a stream snapshot, writes it to the binary snapshot
// format, reads it back into a second modifier and prints what came back.
#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "qz_dsc/qz_dsc.h"

namespace {

int Fail(const char* what) {
  std::fprintf(stderr, "dscore_host: %s\n", what);
  return 1;
}

}  // namespace

int main() {
  using qz_dsc::DataSourceStreamModifier;
  using qz_dsc::DataSourceStreamVariantDerived;

  DataSourceStreamModifier speed;
  if (!speed.Create(L"speed", qz_ds::StreamBasicType_Float)) return Fail("Create refused a float stream");
  if (speed.SetAttribute(DataSourceStreamModifier::ValueUnit, DataSourceStreamVariantDerived<std::wstring>(L"m/s")) != 0)
    return Fail("SetAttribute(ValueUnit) failed");
  if (speed.SetAttribute(DataSourceStreamModifier::FlowType, DataSourceStreamVariantDerived<int>(1)) != 0)
    return Fail("SetAttribute(FlowType) failed");
  auto samples = speed.GetInternalBuffer();
  if (samples->AddSample(5 * qz_dsc::kTicksPerSecond / 10, DataSourceStreamVariantDerived<double>(2.5)) != 0 ||
      samples->AddSample(3 * qz_dsc::kTicksPerSecond / 4, DataSourceStreamVariantDerived<double>(-1.25)) != 0)
    return Fail("AddSample failed");

  qz_dsc::BasicBinarySerializer out(1024);
  if (speed.SerializeTo(out) != 0 || !out) return Fail("SerializeTo failed");

  qz_dsc::BasicBinaryDeserializer in(out.GetBuffer(), static_cast<std::int64_t>(out.GetLength()), false);
  DataSourceStreamModifier back;
  if (back.DeserializeFrom(in) != 0) return Fail("DeserializeFrom failed");
  auto buffer = std::dynamic_pointer_cast<qz_dsc::StreamModifierRawBuffer<double>>(back.GetInternalBuffer());
  if (!buffer) return Fail("the snapshot came back without its float buffer");

  std::printf("%ls (%ls, %s): %d samples in %llu bytes\n", back.GetId().c_str(), back.GetValueUnit().c_str(),
              back.GetFlowType() == DataSourceStreamModifier::StreamFlowType_Constant ? "constant" : "continuous",
              buffer->GetCount(), static_cast<unsigned long long>(out.GetLength()));
  for (const auto& [time, value] : buffer->GetSamples())
    std::printf("%ls s: %g\n", qz_dsc::FormatTimeValue(time, 6).c_str(), value);
  return 0;
}
