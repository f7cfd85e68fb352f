#include "base/sigpipe.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>
#include <unistd.h>

#include <cerrno>

#include "base/handles.h"
#include "base/uncancelled.h"

namespace {

sigset_t sigpipe_only() noexcept {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool sigpipe_is_pending() noexcept {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

namespace zel {

void discard_sigpipe() noexcept {
  if (!sigpipe_is_pending()) return;
  const sigset_t sigpipe = sigpipe_only();
  const timespec no_wait{};
  const Uncancelled uncancelled;
  siginfo_t info{};
  retry([&] { return sigtimedwait(&sigpipe, &info, &no_wait); });
  // A failed write names this process. Who is not to be seen from here, or not known, names none.
  if (info.si_pid != 0 && info.si_pid != getpid()) kill(getpid(), SIGPIPE);
}

SigpipeGuard::SigpipeGuard() noexcept {
  const sigset_t sigpipe = sigpipe_only();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
  blocked_before_ = sigismember(&before, SIGPIPE) == 1;
  pending_before_ = blocked_before_ && sigpipe_is_pending();
}

SigpipeGuard::~SigpipeGuard() {
  const int callers_errno = errno;
  // A second one of the same signal does not queue: what was pending before hides ours.
  if (!pending_before_) discard_sigpipe();
  const sigset_t sigpipe = sigpipe_only();
  if (!blocked_before_) pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
  errno = callers_errno;
}

}  // namespace zel
