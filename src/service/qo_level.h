// qo_level.h: QO_Log's levels by name.
#ifndef ZEL_SRC_SERVICE_QO_LEVEL_H
#define ZEL_SRC_SERVICE_QO_LEVEL_H

#include <zel/service.h>

namespace zel {

enum QoLevel : int { kQoError = 1, kQoWarning = 2, kQoInfo = 3, kQoDebug = 4 };

// A path for a message, whatever the caller gave.
inline const char* shown(const char* path) noexcept {
  return path != nullptr ? path : "(null)";
}

}  // namespace zel

#endif
