// Count of the library's live COM objects (units, streams, the manager): each
// one increments it in its constructor and decrements it in its destructor, so
// the module can answer whether it may be unloaded and tests can see leaks.
// Safe from any thread (one atomic counter).
#pragma once

#include <cstdint>

namespace qz_dsc::live_objects {

// Objects constructed and not yet destroyed.
std::int64_t Count() noexcept;
void Increment() noexcept;
void Decrement() noexcept;

// Counts one live object for as long as it exists; a member or base of a
// counted class, so that copies and failed constructions stay balanced.
class Counted {
 public:
  Counted() noexcept { Increment(); }
  Counted(const Counted&) noexcept { Increment(); }
  Counted& operator=(const Counted&) noexcept { return *this; }
  ~Counted() { Decrement(); }
};

}  // namespace qz_dsc::live_objects
