// qo_level.h: QO_Log's levels by name.
#pragma once

#include <zel/service.h>

namespace zel {

enum QoLevel : int { kQoError = 1, kQoWarning = 2, kQoInfo = 3, kQoDebug = 4 };

// A path for a message, whatever the caller gave.
inline const char* printable(const char* path) noexcept {
  return path != nullptr ? path : "(null)";
}

}  // namespace zel
