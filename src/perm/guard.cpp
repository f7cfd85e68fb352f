#include "perm/guard.h"

#include <cstring>
#include <mutex>

#include "base/log.h"

namespace zel {

Mutex Guard::mutex_;

bool Guard::permits(uint32_t ability, const char* who, int line) {
  Appid appid;
  if (!get_appid(appid, who, line)) {
    if (logs_ == Logs::kRefusals) log_in_form(LOG_ERR, tag_, who, line, "invalid app!\n");
    return false;
  }
  const int granted = perm_check(ability, appid);
  if (logs_ == Logs::kAnswers && zel_debug != 0) {
    zel_log(LOG_DEBUG, "%s %s:%d perm_check_ret:%d\n", tag_, who, line, granted);
  }
  if (granted == 0) return true;
  if (logs_ == Logs::kRefusals) {
    log_in_form(LOG_ERR, tag_, who, line, "NO permission: app(%s) perm(%d)!\n", appid,
                static_cast<int>(ability));
  }
  return false;
}

bool Guard::get_appid(Appid& appid, const char* who, int line) {
  const std::lock_guard hold(mutex_);
  if (appid_[0] == '\0') {
    const int found = perm_get_id(appid_);
    if (logs_ == Logs::kAnswers && zel_debug != 0) {
      zel_log(LOG_DEBUG, "%s %s:%d get_id_ret:%d  appid:%s \n", tag_, who, line, found, appid_);
    }
    if (found != 0) return false;
  }
  memcpy(appid, appid_, sizeof appid_);
  return true;
}

}  // namespace zel
