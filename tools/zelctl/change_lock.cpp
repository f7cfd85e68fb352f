#include "change_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "output.h"

namespace zelctl {
namespace {

// In memory, like the table, and not in flash. Root's alone, or else anybody could keep it.
constexpr const char* kLockFile = "/var/run/zelctl.lock";
constexpr int kLimitSeconds = 30;  // a change takes as long as the flash does

bool lock(int fd) {
  for (int tenths = 0; tenths < kLimitSeconds * 10; ++tenths) {
    if (flock(fd, LOCK_EX | LOCK_NB) == 0) return true;
    if (errno != EWOULDBLOCK && errno != EINTR) return false;
    if (tenths == 10) note("another change is under way; waiting for it");
    usleep(100'000);
  }
  errno = ETIMEDOUT;
  return false;
}

}  // namespace

ChangeLock::ChangeLock() : fd_(open(kLockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (fd_.get() != -1 && lock(fd_.get())) return;
  if (errno == ETIMEDOUT)
    fail(kTimedOut, "Who makes it: fuser -v /var/run/zelctl.lock",
         "another change has been under way for %d s", kLimitSeconds);
  fail(kFailed, "Make /var/run a folder that root can write to.", "%s could not be locked", kLockFile);
}

}  // namespace zelctl
