// access.h: whether the caller may use the download daemon. Asked anew by each call.
#pragma once

#include "perm/guard.h"

namespace zel::download {

// Its traces are known by the names of the two checks.
class Access : public Guard {
 public:
  Access() noexcept : Guard("[ZEL]", Logs::kAnswers) {}

  // For calls that need the appid afterwards.
  [[nodiscard]] bool check_permission_appid() { return permits(ability_download, __func__); }
  [[nodiscard]] bool check_permission() { return permits(ability_download, __func__); }
};

}  // namespace zel::download
