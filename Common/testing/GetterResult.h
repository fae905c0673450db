// Test support: turns a "bool Get(T&) const" getter into one comparable value,
// so a check reads as one line: the value on success, nothing on failure.
// Stateless; safe from any thread the object itself allows.
#pragma once

#include <optional>

namespace dscore_testing {

template <class T, class Object>
std::optional<T> Got(const Object& object, bool (Object::*getter)(T&) const) {
  T value{};
  return (object.*getter)(value) ? std::optional<T>(value) : std::nullopt;
}

}  // namespace dscore_testing
