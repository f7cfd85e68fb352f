// What the service thread does with connections that are pipes, so that every moment can be arranged.
#include "bus/dispatch.h"

#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>
#include <zel/service.h>

#include <atomic>

#include "bus/connect.h"
#include "support/captured.h"

namespace {

// A connection whose broker is the test.
struct FakeConnection {
  FakeConnection() {
    EXPECT_EQ(pipe(ends), 0);
    context.sock.fd = ends[0];
    context.sock.cb = [](uloop_fd* fd, unsigned int events) {
      auto* const self =
          reinterpret_cast<FakeConnection*>(reinterpret_cast<char*>(fd) - offsetof(ubus_context, sock));
      EXPECT_EQ(events, static_cast<unsigned int>(ULOOP_READ));
      char byte;
      EXPECT_EQ(read(fd->fd, &byte, 1), 1);
      ++self->calls;
    };
  }
  ~FakeConnection() {
    const zel::GlobalSection section;  // The thread may still be behind its last call.
    zel::retire_connection(&context, zel::Owner(nullptr, [](void*) {}));
  }
  void send() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  void send_and_wait() const {
    const int before = calls;
    send();
    while (calls == before) usleep(100);
  }

  ubus_context context{};  // First: found from its socket record.
  int ends[2];
  std::atomic<int> calls = 0;
};

}  // namespace

TEST(ServiceThread, NeverTouchesARetiredConnectionAgain) {
  zel::zel_loop_init();
  FakeConnection gone;
  FakeConnection other;
  zel_loop_add_ubus(&gone.context);
  zel_loop_add_ubus(&other.context);
  zel::start_service_thread();
  gone.send_and_wait();
  {
    // The input arrives, and the thread waits for the lock with it, before the connection is retired.
    const zel::GlobalSection section;
    gone.send();
    usleep(20000);  // Time to get there; without it the case only tests less.
    zel::retire_connection(&gone.context, zel::Owner(nullptr, [](void*) {}));
  }
  for (int i = 0; i < 20; ++i) other.send_and_wait();
  EXPECT_EQ(gone.calls, 1);
}

TEST(ServiceThread, RefusesWhatItsLoopCannotHold) {
  zel::zel_loop_init();
  zel_debug = 0;
  ubus_context context{};
  for (const int fd : {-1, FD_SETSIZE, FD_SETSIZE + 4096}) {
    context.sock.fd = fd;
    EXPECT_EQ(zel_loop_add_ubus(&context), -1) << fd;
    EXPECT_FALSE(zel::is_served(&context)) << fd;
  }
  EXPECT_EQ(zel_loop_add_ubus(nullptr), -1);

  context.sock.fd = 5;
  for (int i = 0; i < 16; ++i) zel_loop_add_ubus(&context);
  const std::string log = captured(stderr, [&] { EXPECT_EQ(zel_loop_add_ubus(&context), -1); });
  const size_t first = log.find("[ZEL_SVC] add loop socket failed: no space left!\n\n");
  const size_t second = log.find("[ZEL_SVC] add ubus socket to loop failed!\n\n\n");
  EXPECT_TRUE(first < second && second != std::string::npos) << log;
}
