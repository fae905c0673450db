#include "StreamHandle.h"

#include "Utf8Text.h"
#include "qz_dsc/StreamTypes.h"

namespace dscore_cli {
namespace {

template <class T>
bool TryCast(const std::shared_ptr<qz_ds::DataSourceStreamBase>& base, StreamHandle::Stream& out) {
  if (auto typed = std::dynamic_pointer_cast<qz_dsc::DataSourceStreamExtended<T>>(base)) {
    out = std::move(typed);
    return true;
  }
  return false;
}

}  // namespace

std::optional<StreamHandle> StreamHandle::FromBase(const std::shared_ptr<qz_ds::DataSourceStreamBase>& base) {
  Stream stream;
  if (base && (TryCast<std::int32_t>(base, stream) || TryCast<double>(base, stream) ||
               TryCast<std::wstring>(base, stream) || TryCast<qz_math::Vector2>(base, stream) ||
               TryCast<qz_math::Vector3>(base, stream) || TryCast<qz_math::VectorN<6>>(base, stream) ||
               TryCast<qz_ovlib::PersonSkeletonData>(base, stream))) {
    return StreamHandle(base, std::move(stream));
  }
  return std::nullopt;
}

std::string StreamHandle::NameUtf8() const { return utf8text::ToUtf8(Name()); }
std::string StreamHandle::UnitUtf8() const { return utf8text::ToUtf8(m_base->GetValueUnit()); }
bool StreamHandle::IsExternal() const { return m_base->GetImplementationKind() == qz_dsc::kExternalStreamKind; }

std::string StreamHandle::TypeWord() const {
  switch (Type()) {
    case qz_ds::StreamBasicType_Int: return "int";
    case qz_ds::StreamBasicType_Float: return "double";
    case qz_ds::StreamBasicType_String: return "string";
    case qz_ds::StreamBasicType_Vector2: return "vector2";
    case qz_ds::StreamBasicType_Vector3: return "vector3";
    case qz_ds::StreamBasicType_Vector6: return "vector6";
    case qz_ds::StreamBasicType_PersonSkeleton: return "skeleton";
    default: return "type " + std::to_string(static_cast<int>(Type()));
  }
}

std::vector<std::string> StreamHandle::ComponentNames() const {
  switch (Type()) {
    case qz_ds::StreamBasicType_Int:
    case qz_ds::StreamBasicType_Float: return {""};
    case qz_ds::StreamBasicType_Vector2: return {"x", "y"};
    case qz_ds::StreamBasicType_Vector3: return {"x", "y", "z"};
    case qz_ds::StreamBasicType_Vector6: return {"0", "1", "2", "3", "4", "5"};
    default: return {};
  }
}

std::size_t StreamHandle::SampleCount() const {
  return Visit([](const auto& stream) { return SamplesOf(stream).size(); });
}

}  // namespace dscore_cli
