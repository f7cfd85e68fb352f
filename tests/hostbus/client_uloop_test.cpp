#include <gtest/gtest.h>
#include <libubox/uloop.h>
#include <unistd.h>

#include <csignal>
#include <string>
#include <thread>

namespace {

std::string g_trace;

struct Timer : uloop_timeout {
  explicit Timer(uloop_timeout_handler handler) : uloop_timeout{} { cb = handler; }
};

TEST(Loop, FiresTimersInTheOrderOfTheirEnds) {
  Timer late([](uloop_timeout*) { g_trace += "late "; });
  Timer early([](uloop_timeout*) { g_trace += "early "; });
  Timer cancelled([](uloop_timeout*) { g_trace += "cancelled "; });
  uloop_timeout_set(&late, 30);
  uloop_timeout_set(&early, 60);
  uloop_timeout_set(&early, 10);
  uloop_timeout_set(&cancelled, 1);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), 0);
  EXPECT_EQ(uloop_timeout_cancel(&cancelled), -1);
  EXPECT_EQ(uloop_run(), 0) << "it ends when there is nothing left";
  EXPECT_EQ(g_trace, "early late ");
  EXPECT_FALSE(late.pending);
}

TEST(Loop, ServesADescriptorUntilItIsDeletedInItsCallback) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(write(ends[1], "ab", 2), 2);
  uloop_fd watched{};
  watched.fd = ends[0];
  watched.cb = [](uloop_fd* u, unsigned events) {
    char byte = 0;
    EXPECT_EQ(events, static_cast<unsigned>(ULOOP_READ));
    if (read(u->fd, &byte, 1) == 1) g_trace += byte;
    if (byte == 'b') uloop_fd_delete(u);
  };
  EXPECT_EQ(uloop_fd_add(&watched, ULOOP_READ), 0);
  EXPECT_TRUE(watched.registered);
  uloop_run();
  EXPECT_EQ(g_trace, "ab");
  EXPECT_FALSE(watched.registered);
  EXPECT_EQ(uloop_fd_delete(&watched), -1);
  close(ends[0]);
  close(ends[1]);
}

TEST(Loop, TellsAHangUp) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  close(ends[1]);
  uloop_fd watched{};
  watched.fd = ends[0];
  watched.cb = [](uloop_fd* u, unsigned) {
    EXPECT_TRUE(u->eof);
    uloop_end();
  };
  uloop_fd_add(&watched, ULOOP_READ);
  uloop_run();
  EXPECT_TRUE(watched.eof);
  uloop_done();
  EXPECT_FALSE(watched.registered);
  close(ends[0]);
}

TEST(Loop, EndsFromAnotherThread) {
  std::thread other;
  static std::thread* g_other = &other;
  Timer start([](uloop_timeout*) { *g_other = std::thread(uloop_end); });
  Timer keeps_it_busy([](uloop_timeout*) { g_trace += "too late"; });
  uloop_timeout_set(&keeps_it_busy, 50000);
  uloop_timeout_set(&start, 0);
  uloop_run();
  other.join();
  EXPECT_EQ(g_trace, "");
  uloop_done();
}

}  // namespace
