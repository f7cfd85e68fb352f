#include "bus/connect.h"

#include <fcntl.h>
#include <pthread.h>

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

}  // namespace

namespace zel {

BusLink connect_bus() noexcept {
  const SignalKeeper keeper;
  BusLink link(ubus_connect(nullptr));
  if (link) fcntl(link->sock.fd, F_SETFD, FD_CLOEXEC);
  return link;
}

}  // namespace zel
