#pragma once

#include <cstdint>

namespace hostbus {

// Numbers below this are the bus's own objects and never handed out.
inline constexpr uint32_t kFirstFreeId = 1024;

// A number that nobody can guess, kFirstFreeId or larger.
uint32_t random_id();

// One that `taken` does not contain.
template <class Taken>
uint32_t unused_id(const Taken& taken) {
  for (;;) {
    const uint32_t id = random_id();
    if (!taken.contains(id)) return id;
  }
}

}  // namespace hostbus
