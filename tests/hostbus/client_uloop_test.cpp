#include <gtest/gtest.h>
#include <libubox/uloop.h>

#include <string>
#include <thread>

namespace {

std::string g_trace;
std::thread g_other;

struct Timer : uloop_timeout {
  Timer(int msecs, uloop_timeout_handler handler) : uloop_timeout{} {
    cb = handler;
    uloop_timeout_set(this, msecs);
  }
};

TEST(Loop, FiresTimersInTheOrderOfTheirEndsUntilAnotherThreadEndsIt) {
  Timer too_late(50000, [](uloop_timeout*) { g_trace += "too late "; });
  Timer late(30, [](uloop_timeout*) {
    g_other = std::thread([] {
      g_trace += "late ";
      uloop_end();
    });
  });
  Timer early(60, [](uloop_timeout*) { g_trace += "early "; });
  Timer cancelled(1, [](uloop_timeout*) { g_trace += "cancelled "; });
  uloop_timeout_set(&early, 10);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), 0);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), -1);
  uloop_run();
  g_other.join();
  EXPECT_EQ(g_trace, "early late ");
  uloop_done();
}

}  // namespace
