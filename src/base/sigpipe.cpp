#include "base/sigpipe.h"

#include <pthread.h>
#include <signal.h>
#include <time.h>

#include "base/handles.h"

namespace {

sigset_t sigpipe_only() noexcept {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

}  // namespace

namespace zel {

void discard_sigpipe() noexcept {
  sigset_t pending;
  sigpending(&pending);
  if (sigismember(&pending, SIGPIPE) != 1) return;
  const sigset_t sigpipe = sigpipe_only();
  const timespec no_wait{};
  const CancelLater later;
  retry([&] { return sigtimedwait(&sigpipe, nullptr, &no_wait); });
}

SigpipeGuard::SigpipeGuard() noexcept {
  const sigset_t sigpipe = sigpipe_only();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
  // A thread that blocks the signal itself (an outer guard included) is left to do so.
  engaged_ = sigismember(&before, SIGPIPE) == 0;
}

SigpipeGuard::~SigpipeGuard() {
  if (!engaged_) return;
  const int callers_errno = errno;
  // It was not blocked before, so nothing was pending for this thread: what is there now is ours.
  discard_sigpipe();
  const sigset_t sigpipe = sigpipe_only();
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
  errno = callers_errno;
}

}  // namespace zel
