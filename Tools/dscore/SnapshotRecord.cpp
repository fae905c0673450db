#include "SnapshotRecord.h"

#include "ListDocument.h"
#include "ToolError.h"
#include "qz_dsc/DataSourceStreamModifier.h"
#include "qz_dsc/DataSourceStreamVariant.h"
#include "qz_dsc/IStreamModifierRawBufferRoot.h"

namespace dscore_cli {
namespace {

using qz_dsc::DataSourceStreamModifier;
using qz_dsc::DataSourceStreamVariantDerived;

template <class T>
constexpr bool kHasBuffer = std::is_same_v<T, std::int32_t> || std::is_same_v<T, double> ||
                            std::is_same_v<T, std::wstring> || std::is_same_v<T, qz_math::Vector2> ||
                            std::is_same_v<T, qz_math::VectorN<6>>;

template <class T>
std::shared_ptr<DataSourceStreamModifier> StreamRecord(const StreamHandle& handle, const TypedStream<T>& stream) {
  auto record = std::make_shared<DataSourceStreamModifier>();
  if (!record->Create(handle.Name(), handle.Type())) return nullptr;
  const int flow = stream->IsConstant() ? DataSourceStreamModifier::StreamFlowType_Constant
                                        : DataSourceStreamModifier::StreamFlowType_Continuous;
  if (record->SetAttribute(DataSourceStreamModifier::FlowType, DataSourceStreamVariantDerived<int>(flow)) != 0 ||
      record->SetAttribute(DataSourceStreamModifier::ValueUnit,
                           DataSourceStreamVariantDerived<std::wstring>(stream->GetValueUnit())) != 0 ||
      record->SetAttribute(DataSourceStreamModifier::DefaultValue,
                           DataSourceStreamVariantDerived<T>(stream->GetDefaultValue())) != 0) {
    return nullptr;
  }
  const auto buffer = record->GetInternalBuffer();
  for (const auto& [time, value] : SamplesOf(stream)) {
    if (buffer->AddSample(time, DataSourceStreamVariantDerived<T>(value)) != 0) return nullptr;
  }
  return record;
}

}  // namespace

void BuildSnapshotRecord(qz_dsc::IDataSourceUnit* source, qz_dsc::DataSourceModifier& record,
                         std::vector<StreamHandle>& leftOut) {
  record.Clear();
  record.SetId(SourceId(source));
  for (const auto& stream : ListDocument::Streams(source)) {
    std::shared_ptr<DataSourceStreamModifier> streamRecord;
    bool convertible = true;
    stream.Visit([&](const auto& typed) {
      using T = typename std::decay_t<decltype(*typed)>::Sample::second_type;
      if constexpr (kHasBuffer<T>) {
        streamRecord = StreamRecord<T>(stream, typed);
      } else {
        convertible = false;
      }
    });
    if (!convertible) {
      leftOut.push_back(stream);
      continue;
    }
    if (!streamRecord || !record.AddStream(streamRecord)) {
      FailInput("stream '" + stream.NameUtf8() + "': its snapshot record cannot be built");
    }
  }
}

}  // namespace dscore_cli
