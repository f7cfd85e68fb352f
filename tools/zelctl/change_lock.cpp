#include "change_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>

#include "report.h"

namespace zelctl {
namespace {

// In memory, like the table, and not in flash. Root's alone, or else anybody could keep it.
constexpr const char* kLockFile = "/var/run/zelctl.lock";

bool lock(int fd) {
  int result = -1;
  do {
    result = flock(fd, LOCK_EX);
  } while (result == -1 && errno == EINTR);
  return result == 0;
}

}  // namespace

ChangeLock::ChangeLock() : fd_(open(kLockFile, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600)) {
  if (fd_ != -1 && lock(fd_)) return;
  if (fd_ != -1) close(fd_);
  throw Failure(kFailed, std::string(kLockFile) + " could not be locked",
                "Make /var/run a folder that root can write to.");
}

ChangeLock::~ChangeLock() {
  close(fd_);
}

}  // namespace zelctl
