// Stream and value types shared by streams, the XML document and the binary
// snapshots: the XML type name of every StreamBasicType, which types get
// stream classes, the implementation kinds, and the flow and interpolation
// conventions. The numbers are part of the file and byte formats.
// Everything here is immutable and safe to use from any thread.
#pragma once

#include <cstdint>
#include <string>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/export.h"
#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"

namespace qz_dsc {

// Implementation kind of a stream object.
constexpr std::int32_t kInternalStreamKind = 1234;
constexpr std::int32_t kExternalStreamKind = 1235;

// Number of StreamBasicType values (0 to 12), the rows of the type name table.
constexpr int kStreamBasicTypeCount = 13;

// The XML type name of a basic type ("DataSourceIntStreamType" for 2), or
// nullptr for a number outside 0..12.
[[nodiscard]] QZ_DSC_API const wchar_t* GetStreamTypeXmlName(qz_ds::StreamBasicType type) noexcept;

// The basic type whose XML name equals name exactly; false when none does.
[[nodiscard]] QZ_DSC_API bool FindStreamTypeByXmlName(const std::wstring& name, qz_ds::StreamBasicType& type) noexcept;

// Types with an internal (recorded) stream class: 2, 3, 4, 5 and 11.
[[nodiscard]] constexpr bool HasInternalStreamClass(qz_ds::StreamBasicType type) noexcept {
  return type == qz_ds::StreamBasicType_Int || type == qz_ds::StreamBasicType_Float ||
         type == qz_ds::StreamBasicType_String || type == qz_ds::StreamBasicType_Vector2 ||
         type == qz_ds::StreamBasicType_Vector6;
}

// Types with an external (imported) stream class: the internal ones, 6 and 12.
[[nodiscard]] constexpr bool HasExternalStreamClass(qz_ds::StreamBasicType type) noexcept {
  return HasInternalStreamClass(type) || type == qz_ds::StreamBasicType_Vector3 ||
         type == qz_ds::StreamBasicType_PersonSkeleton;
}

// Flow type: a stream stores "constant" as one boolean. The XML "flowType"
// writes continuous as 1 and constant as 2; reading, only 2 means constant.
constexpr std::int32_t kXmlFlowContinuous = 1;
constexpr std::int32_t kXmlFlowConstant = 2;
[[nodiscard]] constexpr std::int32_t XmlFlowTypeOf(bool constant) noexcept { return constant ? kXmlFlowConstant : kXmlFlowContinuous; }
[[nodiscard]] constexpr bool IsConstantXmlFlowType(std::int32_t flowType) noexcept { return flowType == kXmlFlowConstant; }

// A stream modifier numbers flow types differently: 1 is constant, anything
// else continuous.
[[nodiscard]] constexpr bool IsConstantModifierFlowType(std::int32_t flowType) noexcept { return flowType == 1; }

// The interpolation word a stream keeps for a modifier's interpolation type:
// 0 when the modifier says 1, otherwise 1. Stored and reported only.
constexpr std::uint32_t StreamInterpolationOf(std::int32_t modifierInterpolation) noexcept {
  return modifierInterpolation == 1 ? 0u : 1u;
}

// Maps a sample value type to its basic type code.
template <class T>
struct StreamValueType;
template <>
struct StreamValueType<std::int32_t> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_Int;
};
template <>
struct StreamValueType<double> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_Float;
};
template <>
struct StreamValueType<std::wstring> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_String;
};
template <>
struct StreamValueType<qz_math::Vector2> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_Vector2;
};
template <>
struct StreamValueType<qz_math::Vector3> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_Vector3;
};
template <>
struct StreamValueType<qz_math::VectorN<6>> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_Vector6;
};
template <>
struct StreamValueType<qz_ovlib::PersonSkeletonData> {
  static constexpr qz_ds::StreamBasicType value = qz_ds::StreamBasicType_PersonSkeleton;
};

}  // namespace qz_dsc
