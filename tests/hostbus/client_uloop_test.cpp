#include <gtest/gtest.h>
#include <libubox/uloop.h>

#include <string>
#include <thread>

namespace {

std::string g_trace;

struct Timer : uloop_timeout {
  Timer(int msecs, uloop_timeout_handler handler) : uloop_timeout{} {
    cb = handler;
    uloop_timeout_set(this, msecs);
  }
};

TEST(Loop, FiresTimersInTheOrderOfTheirEnds) {
  Timer late(30, [](uloop_timeout*) { g_trace += "late "; });
  Timer early(60, [](uloop_timeout*) { g_trace += "early "; });
  Timer cancelled(1, [](uloop_timeout*) { g_trace += "cancelled "; });
  uloop_timeout_set(&early, 10);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), 0);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), -1);
  EXPECT_EQ(uloop_run(), 0) << "it ends when there is nothing left";
  EXPECT_EQ(g_trace, "early late ");
}

TEST(Loop, EndsFromAnotherThread) {
  static std::thread other;
  Timer keeps_it_busy(50000, [](uloop_timeout*) { g_trace += "too late"; });
  Timer start(0, [](uloop_timeout*) { other = std::thread(uloop_end); });
  uloop_run();
  other.join();
  EXPECT_EQ(g_trace, "");
  uloop_done();
}

}  // namespace
