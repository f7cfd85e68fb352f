// signals.h: the plug-in's signals while libubus connects.
//
// A current libubus gives SIGINT, SIGTERM and SIGCHLD handlers of its own and ignores SIGPIPE, wherever the
// disposition is still the default; it leaves a handler alone. Connecting may take any time: so nothing is blocked.
#pragma once

#include <array>
#include <csignal>

namespace zel {

// Puts a stand-in in the place of every default disposition for its lifetime: a signal that arrives meanwhile does
// what it would have done. Afterwards all dispositions are as they were, unless another thread has set its own.
class SignalKeeper {
 public:
  SignalKeeper() noexcept;
  ~SignalKeeper();
  SignalKeeper(const SignalKeeper&) = delete;
  SignalKeeper& operator=(const SignalKeeper&) = delete;

 private:
  static constexpr std::array kSignals = {SIGINT, SIGTERM, SIGCHLD, SIGPIPE};

  std::array<struct sigaction, kSignals.size()> before_{};
};

}  // namespace zel
