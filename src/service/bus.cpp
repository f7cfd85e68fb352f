#include "service/bus.h"

#include <fcntl.h>
#include <pthread.h>
#include <time.h>

#include <array>
#include <cstddef>

namespace {

// Puts back what libubus changes about the plug-in's signals when it connects; it changes only dispositions
// that are still default. The signals are blocked meanwhile, so that in a plug-in of one thread none is lost
// to libubus's handlers.
class SignalKeeper {
 public:
  SignalKeeper() noexcept {
    sigset_t kept;
    sigemptyset(&kept);
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      sigaddset(&kept, kSignals[i]);
      sigaction(kSignals[i], nullptr, &before_[i]);
    }
    pthread_sigmask(SIG_BLOCK, &kept, &mask_);
  }
  ~SignalKeeper() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      if (before_[i].sa_handler == SIG_DFL) put_back(kSignals[i], before_[i]);
    }
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }
  SignalKeeper(const SignalKeeper&) = delete;
  SignalKeeper& operator=(const SignalKeeper&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGCHLD, SIGPIPE};

  // Written only where it was changed: another thread of the plug-in may just be setting its own.
  static void put_back(int signal, const struct sigaction& before) noexcept {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler != SIG_DFL) sigaction(signal, &before, nullptr);
  }

  std::array<struct sigaction, kSignals.size()> before_{};
  sigset_t mask_{};
};

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

BusLink connect_bus() noexcept {
  const SignalKeeper keeper;
  BusLink link(ubus_connect(nullptr));
  if (link) fcntl(link->sock.fd, F_SETFD, FD_CLOEXEC);
  return link;
}

}  // namespace zel
