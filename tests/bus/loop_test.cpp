// The loop with connections that are pipes, so that every moment can be arranged.
#include <gtest/gtest.h>
#include <sys/select.h>
#include <unistd.h>

#include <atomic>
#include <functional>

#include "bus/connect.h"
#include "bus/loop.h"
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
      if (self->take_input && read(fd->fd, &byte, 1) != 1) fd->eof = true;
      if (self->on_input) self->on_input();
      ++self->calls;
    };
  }
  ~FakeConnection() {
    const zel::GlobalSection section;  // The thread may still be behind its last call.
    zel::retire_connection(&context, zel::Retired(nullptr, [](void*) {}));
  }
  void send() const { EXPECT_EQ(write(ends[1], "x", 1), 1); }
  void send_and_wait() const {
    const int before = calls;
    send();
    while (calls == before) usleep(100);
  }

  ubus_context context{};  // First: found from its socket record.
  int ends[2];
  bool take_input = true;
  std::function<void()> on_input;
  std::atomic<int> calls = 0;
};

// Many turns of the thread: enough for one that spins to show.
void let_the_thread_turn(const FakeConnection& other) {
  for (int i = 0; i < 20; ++i) other.send_and_wait();
}

}  // namespace

TEST(LoopTable, TakesSixteenAdditionsEverAlsoOfTheSameDescriptor) {
  zel::zel_loop_init();
  zel_debug = 0;
  FakeConnection connection;
  for (int i = 0; i < 16; ++i) EXPECT_EQ(zel_loop_add_ubus(&connection.context), 0) << i;
  const std::string log = captured(stderr, [&] { EXPECT_EQ(zel_loop_add_ubus(&connection.context), -1); });
  const size_t first = log.find("[ZEL_SVC] add loop socket failed: no space left!\n\n");
  const size_t second = log.find("[ZEL_SVC] add ubus socket to loop failed!\n\n\n");
  EXPECT_TRUE(first < second && second != std::string::npos) << log;
}

TEST(LoopTable, RefusesDescriptorsThatSelectCannotHold) {
  zel::zel_loop_init();
  ubus_context context{};
  for (const int fd : {-1, FD_SETSIZE, FD_SETSIZE + 4096}) {
    context.sock.fd = fd;
    EXPECT_EQ(zel_loop_add_ubus(&context), -1) << fd;
  }
  EXPECT_EQ(zel_loop_add_ubus(nullptr), -1);
}

TEST(ServiceThread, ServesConnectionsThatWereAddedBeforeAndAfterItsStart) {
  zel::zel_loop_init();
  FakeConnection early;
  FakeConnection late;
  zel_loop_add_ubus(&early.context);
  zel::start_service_thread();
  early.send_and_wait();
  zel_loop_add_ubus(&late.context);
  late.send_and_wait();
  early.send_and_wait();
  EXPECT_EQ(early.calls, 2);
  EXPECT_EQ(late.calls, 1);
}

TEST(ServiceThread, LeavesAConnectionAloneAfterItsEndOfFile) {
  zel::zel_loop_init();
  FakeConnection ended;
  FakeConnection other;
  ended.take_input = false;  // Readable for ever, as a socket is after its end.
  ended.on_input = [&] { ended.context.sock.eof = true; };
  zel_loop_add_ubus(&ended.context);
  zel_loop_add_ubus(&other.context);
  zel::start_service_thread();
  ended.send_and_wait();
  let_the_thread_turn(other);
  EXPECT_EQ(ended.calls, 1);
}

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
    zel::retire_connection(&gone.context, zel::Retired(nullptr, [](void*) {}));
  }
  let_the_thread_turn(other);
  EXPECT_EQ(gone.calls, 1);
}

TEST(ServiceThread, DestroysWhatAHandlerRetiresOnlyAfterItsDispatch) {
  zel::zel_loop_init();
  static std::atomic<bool> destroyed;
  destroyed = false;
  FakeConnection own;
  own.on_input = [&] {
    zel::retire_connection(&own.context, zel::Retired(&own, [](void*) { destroyed = true; }));
    EXPECT_FALSE(destroyed);
  };
  zel_loop_add_ubus(&own.context);
  zel::start_service_thread();
  own.send_and_wait();
  while (!destroyed) usleep(100);
  EXPECT_EQ(own.calls, 1);
}

TEST(ServiceThread, GoesOnServingWhenADescriptorIsClosedBehindItsBack) {
  zel::zel_loop_init();
  FakeConnection closed;
  FakeConnection other;
  zel_loop_add_ubus(&closed.context);
  zel_loop_add_ubus(&other.context);
  zel::start_service_thread();
  close(closed.ends[0]);
  let_the_thread_turn(other);
  EXPECT_LE(closed.calls, 1);  // The kernel may report a closed descriptor as readable, once.
}
