#include "service/bus.h"

#include <fcntl.h>
#include <pthread.h>
#include <time.h>

#include <array>
#include <cstddef>

namespace {

// Remembers what the plug-in does about the signals libubus takes over when it connects, and puts back what
// was changed; the rest is not written, since another thread of the plug-in may just be setting it.
class SignalKeeper {
 public:
  SignalKeeper() noexcept {
    for (std::size_t i = 0; i < kSignals.size(); ++i) sigaction(kSignals[i], nullptr, &actions_[i]);
  }
  ~SignalKeeper() {
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
      struct sigaction now {};
      sigaction(kSignals[i], nullptr, &now);
      if (now.sa_handler != actions_[i].sa_handler) sigaction(kSignals[i], &actions_[i], nullptr);
    }
  }
  SignalKeeper(const SignalKeeper&) = delete;
  SignalKeeper& operator=(const SignalKeeper&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGCHLD, SIGPIPE};
  std::array<struct sigaction, kSignals.size()> actions_{};
};

sigset_t sigpipe_only() noexcept {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool sigpipe_pending() noexcept {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

namespace zel {

void SigpipeGuard::engage() noexcept {
  const sigset_t sigpipe = sigpipe_only();
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, &sigpipe, &before);
  // A thread that blocks the signal itself (an outer guard included) is left to do so.
  engaged_ = sigismember(&before, SIGPIPE) == 0;
}

void SigpipeGuard::release() noexcept {
  if (!engaged_) return;
  engaged_ = false;
  const int callers_errno = errno;
  const sigset_t sigpipe = sigpipe_only();
  // Unblocked before, so nothing can have been pending for this thread: what is there now is ours.
  if (sigpipe_pending()) {
    const timespec no_wait{};
    retry([&] { return sigtimedwait(&sigpipe, nullptr, &no_wait); });
  }
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
  errno = callers_errno;
}

namespace {
SigpipeGuard* dispatch_guard = nullptr;  // Guarded by the global lock.
}

DispatchSection::DispatchSection() noexcept {
  dispatch_guard = &guard_;
}

DispatchSection::~DispatchSection() {
  dispatch_guard = nullptr;
}

PluginCode::PluginCode() noexcept : guard_(dispatch_guard) {
  if (guard_ != nullptr) guard_->release();
}

PluginCode::~PluginCode() {
  if (guard_ != nullptr) guard_->engage();
}

BusLink connect_bus() noexcept {
  const SignalKeeper keeper;
  BusLink link(ubus_connect(nullptr));
  if (link) fcntl(link->sock.fd, F_SETFD, FD_CLOEXEC);
  return link;
}

}  // namespace zel
