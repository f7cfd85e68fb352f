// access.h: who the caller is and what it may do, for all event calls.
#pragma once

#include <cstdint>

namespace zel {

inline constexpr const char* kBusEvent = "zel.event";

// Whether the caller's appid is known and holds the ability. If not, logs why under the name of the call.
bool event_allowed(const char* who, uint32_t ability) noexcept;

}  // namespace zel
