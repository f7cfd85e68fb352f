// access.h: what sending and receiving share.
#pragma once

#include "perm/guard.h"

namespace zel {

inline constexpr const char* kBusEvent = "zel.event";

inline Guard event_guard("[ZE]", Guard::Logs::kRefusals);

}  // namespace zel
