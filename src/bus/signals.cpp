#include "bus/signals.h"

namespace {

// The default of SIGCHLD is nothing, and of the others the end of the process, once this handler has returned.
void stand_in(int signal) {
  if (signal == SIGCHLD) return;
  std::signal(signal, SIG_DFL);
  raise(signal);
}

}  // namespace

namespace zel {

SignalKeeper::SignalKeeper() noexcept {
  struct sigaction ours {};
  ours.sa_handler = stand_in;
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    sigaction(kSignals[i], nullptr, &before_[i]);
    ours.sa_flags = SA_RESTART | (before_[i].sa_flags & (SA_NOCLDSTOP | SA_NOCLDWAIT));
    if (before_[i].sa_handler == SIG_DFL) sigaction(kSignals[i], &ours, nullptr);
  }
}

SignalKeeper::~SignalKeeper() {
  for (std::size_t i = 0; i < kSignals.size(); ++i) {
    if (before_[i].sa_handler != SIG_DFL) continue;
    struct sigaction now {};
    sigaction(kSignals[i], nullptr, &now);
    if (now.sa_handler == stand_in) sigaction(kSignals[i], &before_[i], nullptr);
  }
}

}  // namespace zel
