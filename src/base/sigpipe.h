// sigpipe.h: writing to a peer that may be gone.
#pragma once

namespace zel {

// Keeps SIGPIPE from the calling thread for its lifetime, and with it the end of the process when the peer has
// gone. A signal that was raised meanwhile is taken out, also of a thread that blocks SIGPIPE itself; one that
// such a thread had pending stays so, and one that another process has sent comes when the guard is gone.
class SigpipeGuard {
 public:
  SigpipeGuard() noexcept;
  ~SigpipeGuard();
  SigpipeGuard(const SigpipeGuard&) = delete;
  SigpipeGuard& operator=(const SigpipeGuard&) = delete;

 private:
  bool blocked_before_;
  bool pending_before_;
};

// Takes out a SIGPIPE that a thread has pending while it blocks the signal, unless another process has sent it.
void discard_sigpipe() noexcept;

}  // namespace zel
