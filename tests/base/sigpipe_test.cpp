#include "base/sigpipe.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>

TEST(SigpipeGuard, SwallowsWhatIsRaisedInsideAndNothingElse) {
  sigset_t sigpipe;
  sigemptyset(&sigpipe);
  sigaddset(&sigpipe, SIGPIPE);
  static const struct {
    const char* why;
    bool blocked;
    bool raised_before;
    bool pending_after;
  } kCases[] = {{"blocked by the guard", false, false, false},
                {"blocked by the thread", true, false, false},
                {"pending before", true, true, true}};
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[0]);
  for (const auto& c : kCases) {
    pthread_sigmask(c.blocked ? SIG_BLOCK : SIG_UNBLOCK, &sigpipe, nullptr);
    if (c.raised_before) raise(SIGPIPE);
    {
      const zel::SigpipeGuard outer;
      const zel::SigpipeGuard inner;
      EXPECT_EQ(write(ends[1], "x", 1), -1) << c.why;  // Ends the process where nobody guards it.
    }
    sigset_t pending;
    sigpending(&pending);
    EXPECT_EQ(sigismember(&pending, SIGPIPE) != 0, c.pending_after) << c.why;
  }
  zel::discard_sigpipe();
  pthread_sigmask(SIG_UNBLOCK, &sigpipe, nullptr);
  EXPECT_EXIT((void)!write(ends[1], "x", 1), testing::KilledBySignal(SIGPIPE), "");
}

TEST(SigpipeGuard, HoldsBackWhatAnotherProcessHasSent) {
  const auto guarded = [] {
    const zel::SigpipeGuard guard;
    const pid_t parent = getpid();
    const pid_t child = fork();
    if (child == 0) _exit(kill(parent, SIGPIPE));
    waitpid(child, nullptr, 0);
  };
  EXPECT_EXIT(guarded(), testing::KilledBySignal(SIGPIPE), "");
}
