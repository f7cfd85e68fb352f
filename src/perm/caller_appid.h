// caller_appid.h: who the caller is, for a family of guarded calls.
#pragma once

#include <zel/perm.h>

#include <cstring>
#include <mutex>

namespace zel {

// The appid is asked for until it is known, then kept for the life of the process.
class CallerAppid {
 public:
  // False while it is not known.
  bool get(char (&appid)[PERM_APPID_SIZE]) noexcept {
    const std::lock_guard hold(mutex_);
    if (kept_[0] == '\0' && perm_get_id(kept_) != 0) return false;
    memcpy(appid, kept_, sizeof kept_);
    return true;
  }

 private:
  std::mutex mutex_;
  char kept_[PERM_APPID_SIZE] = {};  // Guarded by mutex_.
};

}  // namespace zel
