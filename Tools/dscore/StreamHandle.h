// One stream of a data source with its value type resolved, so that commands
// can read samples of any type through one visit. Streams are shared with
// the library's units, never copied.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "qz_ds/qz_ds.h"
#include "qz_dsc/DataSourceStreamExtended.h"
#include "qz_math/Vector.h"
#include "qz_ovlib/qz_ovlib.h"

namespace dscore_cli {

template <class T>
using TypedStream = std::shared_ptr<qz_dsc::DataSourceStreamExtended<T>>;

constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLatest = std::numeric_limits<std::int64_t>::max();

class StreamHandle {
 public:
  using Stream = std::variant<TypedStream<std::int32_t>, TypedStream<double>, TypedStream<std::wstring>,
                              TypedStream<qz_math::Vector2>, TypedStream<qz_math::Vector3>,
                              TypedStream<qz_math::VectorN<6>>, TypedStream<qz_ovlib::PersonSkeletonData>>;

  // Empty for a stream of a type the library has no stream class for.
  [[nodiscard]] static std::optional<StreamHandle> FromBase(const std::shared_ptr<qz_ds::DataSourceStreamBase>& base);

  [[nodiscard]] const std::wstring& Name() const { return m_base->GetName(); }
  [[nodiscard]] std::string NameUtf8() const;
  [[nodiscard]] std::string UnitUtf8() const;
  [[nodiscard]] qz_ds::StreamBasicType Type() const { return m_base->GetBasicType(); }
  [[nodiscard]] bool IsExternal() const;
  // A word for the value type: "int", "double", "string", "vector2", ...
  [[nodiscard]] std::string TypeWord() const;
  // Column suffixes of the numeric components: {""} for numbers, {"x", "y"}
  // (and "z") for 2- and 3-vectors, {"0", ..., "5"} for 6-vectors, none for
  // strings and skeletons.
  [[nodiscard]] std::vector<std::string> ComponentNames() const;
  [[nodiscard]] std::size_t SampleCount() const;

  // Calls f with the typed stream (a TypedStream<T>).
  template <class F>
  decltype(auto) Visit(F&& f) const {
    return std::visit(std::forward<F>(f), m_stream);
  }

 private:
  StreamHandle(std::shared_ptr<qz_ds::DataSourceStreamBase> base, Stream stream)
      : m_base(std::move(base)), m_stream(std::move(stream)) {}

  std::shared_ptr<qz_ds::DataSourceStreamBase> m_base;
  Stream m_stream;
};

// Samples of a typed stream with presentation time in [from, to].
template <class T>
std::vector<std::pair<std::int64_t, T>> SamplesOf(const TypedStream<T>& stream, std::int64_t from = kEarliest,
                                                  std::int64_t to = kLatest) {
  std::vector<std::pair<std::int64_t, T>> samples;
  static_cast<void>(stream->GetSamples(from, to, samples));
  return samples;
}

}  // namespace dscore_cli
