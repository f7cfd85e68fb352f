#include "event/access.h"

#include <zel/perm.h>

#include "base/log.h"
#include "perm/caller_appid.h"

namespace {

zel::CallerAppid zel_event_appid;

}  // namespace

namespace zel {

bool event_allowed(const char* who, uint32_t ability) noexcept {
  char appid[PERM_APPID_SIZE];
  if (!zel_event_appid.get(appid)) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZE]", "invalid app!\n");
    return false;
  }
  if (perm_check(ability, appid) != 0) {
    ZEL_LOG_AS(who, LOG_ERR, "[ZE]", "NO permission: app(%s) perm(%d)!\n", appid, static_cast<int>(ability));
    return false;
  }
  return true;
}

}  // namespace zel
