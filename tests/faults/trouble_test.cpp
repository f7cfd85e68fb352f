// Every call in threads that are cancelled, in forked children and among signals.
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <thread>

#include "faults/calls.h"
#include "support/cancelled.h"

using namespace std::chrono;

namespace {

constexpr int kTimes = 10;

microseconds time_of(const Call& row) {
  row.prepare();
  const auto start = steady_clock::now();
  row.call();
  return duration_cast<microseconds>(steady_clock::now() - start);
}

// The time of the call from its beginning in another thread on. Shorter than any sleep.
bool comes(const std::atomic<bool>& begun, microseconds time) {
  while (!begun) continue;
  const auto end = steady_clock::now() + time;
  while (steady_clock::now() < end) continue;
  return true;
}

}  // namespace

using Trouble = EveryCall;
INSTANTIATE_TEST_SUITE_P(In, Trouble, testing::ValuesIn(kCalls),
                         [](const auto& calls) { return calls.param.of; });

TEST_P(Trouble, OfACancelledThreadLeavesNothingBehind) {
  SKIP_WHERE_NO_THREAD_CAN_BE_CANCELLED();
  ends_cancelled(pause, [] { return true; });  // The first one loads what unwinds.
  for (const Call& row : GetParam().rows) {
    const microseconds whole = time_of(row);
    for (int i = 0; i < kTimes; ++i) {
      row.prepare();
      const LeftBehind before = left_behind();
      std::atomic<bool> begun = false;
      ends_cancelled([&] { begun = true, row.call(); }, [&] { return comes(begun, whole * i / kTimes); });
      row.prepare();
      const LeftBehind after = left_behind();
      // What a first thread needs is kept for the next one.
      EXPECT_EQ(i > 0 ? after : before, before) << row.name << ", " << i;
      EXPECT_EQ(row.call(), row.good) << row.name << ", " << i;
    }
  }
}

TEST_P(Trouble, OfAForkWhileAnotherThreadWaitsIsNoneForTheChild) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a child takes over the sanitizer's allocator as it is, locked, or is taken for a race";
#endif
  for (const Call& row : GetParam().rows) {
    const microseconds whole = time_of(row);
    if (whole < milliseconds(1)) continue;  // Nothing to wait for.
    row.prepare();
    std::atomic<bool> begun = false;
    std::thread thread([&] { begun = true, row.call(); });
    comes(begun, whole / 2);
    const pid_t child = fork();
    if (child == 0) {
      alarm(10);
      row.call();
      _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << row.name;
    thread.join();
  }
}

TEST_P(Trouble, OfSignalsChangesNoResult) {
  struct sigaction quiet {};
  quiet.sa_handler = [](int) {};
  sigaction(SIGALRM, &quiet, nullptr);  // Without SA_RESTART.
  const itimerval often = {{0, 2000}, {0, 2000}};
  setitimer(ITIMER_REAL, &often, nullptr);
  for (const Call& row : GetParam().rows) {
    row.prepare();
    EXPECT_EQ(row.call(), row.good) << row.name;
  }
}

TEST_P(Trouble, OfAPlugInThatReapsEveryChildGivesANamedResult) {
  signal(SIGCHLD, SIG_IGN);
  for (const Call& row : GetParam().rows) {
    row.prepare();
    const int result = row.call();
    EXPECT_TRUE(row.may_give(result)) << result << " from " << row.name;
  }
}
