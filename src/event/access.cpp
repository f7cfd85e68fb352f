#include "event/access.h"

#include <zel/perm.h>

#include <cstring>
#include <mutex>

#include "service/log.h"

namespace {

std::mutex appid_mutex;
char zel_event_appid[PERM_APPID_SIZE];  // Guarded by appid_mutex; fixed once filled.

// The caller's appid, asked for until it is known.
bool caller_appid(char* appid) {
  const std::lock_guard hold(appid_mutex);
  if (zel_event_appid[0] == '\0' && perm_get_id(zel_event_appid) != 0) return false;
  memcpy(appid, zel_event_appid, sizeof zel_event_appid);
  return true;
}

}  // namespace

namespace zel {

bool event_allowed(const char* who, uint32_t ability) noexcept {
  char appid[PERM_APPID_SIZE];
  if (!caller_appid(appid)) {
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
