// A plug-in whose broker ends and starts again.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>
#include <libubus.h>
#include <sys/stat.h>
#include <zel/cloud.h>
#include <zel/event.h>
#include <zel/service.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <optional>

#include "support/broker_process.h"
#include "support/captured.h"
#include "support/stopped_broker.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kPath = UBUS_UNIX_SOCKET;
constexpr milliseconds kServedWithin{1000};

std::atomic<int> events = 0;

bool wait_until(const std::function<bool()>& condition, milliseconds limit = milliseconds(10000)) {
  for (const auto end = Clock::now() + limit; !condition();) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return true;
}

// Whether the plug-in's handler answers, without the library, whose sends would hold the lock.
bool is_answered() {
  const std::unique_ptr<ubus_context, decltype(&ubus_free)> bus(ubus_connect(nullptr), ubus_free);
  uint32_t object = 0;
  if (!bus || ubus_lookup_id(bus.get(), "zel_test", &object) != 0) return false;
  blob_buf request{};
  blob_buf_init(&request, 0);
  blobmsg_add_string(&request, "msg", "m");
  const int status = ubus_invoke(bus.get(), object, "send_cmd", request.head, nullptr, nullptr, 5000);
  blob_buf_free(&request);
  return status == 42;
}

bool hears() {
  const int before = events;
  return zel_event_send_disk(0, "d") == 0 && wait_until([&] { return events > before; }, milliseconds(500));
}

double cpu_seconds() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

// A plug-in with an object "zel_test" and a receiver, in this process.
class Comeback : public testing::Test {
 protected:
  Comeback() {
    zel_debug = 0;
    EXPECT_EQ(zel_service_init_dbg("test"), 0);
    EXPECT_EQ(zel_cloud_msg_handler_register_dbg([](const char*, uint32_t, char*, uint32_t) { return 42; }),
              0);
    EXPECT_EQ(zel_event_init(), 0);
    EXPECT_EQ(zel_event_subscribe(ZEL_EVENT_DISK, [](int32_t, const char*) { ++events; }), 0);
  }

  // Ends the broker, and what there is of its socket.
  void end_broker(int signal) {
    if (broker_) {
      broker_->end(signal);
    } else {
      const pid_t pid = test::broker_of(kPath);
      kill(pid, signal);
      EXPECT_TRUE(wait_until([&] { return test::broker_of(kPath) != pid; }));
    }
    unlink(kPath.c_str());
  }
  void start_broker() {
    const mode_t all = umask(0);
    broker_.emplace(kPath);
    umask(all);
  }

  std::optional<test::BrokerProcess> broker_;
};

}  // namespace

TEST_F(Comeback, IsServedAgainHoweverOftenTheBrokerEnds) {
  static const struct {
    const char* why;
    int signal;
    milliseconds gap;
    int times;
  } kCases[] = {{"killed, more often than the loop takes additions", SIGKILL, milliseconds(0), 18},
                {"terminated", SIGTERM, milliseconds(0), 1},
                {"away for some time", SIGKILL, milliseconds(1500), 1}};
  for (const auto& c : kCases) {
    for (int i = 0; i < c.times; ++i) {
      const std::string log = captured(stderr, [&] {
        end_broker(c.signal);
        const double before = cpu_seconds();
        std::this_thread::sleep_for(c.gap);
        EXPECT_LT(cpu_seconds() - before, 0.2) << c.why;
        start_broker();
        EXPECT_TRUE(wait_until(is_answered, kServedWithin)) << c.why;
        EXPECT_TRUE(wait_until(hears, kServedWithin)) << c.why;
        std::this_thread::sleep_for(milliseconds(30));
      });
      EXPECT_EQ(log.find("bus lost"), log.rfind("bus lost")) << log;
      EXPECT_NE(log.find("[ZEL_SVC] bus lost, waiting for it!\n"), std::string::npos) << c.why;
      EXPECT_EQ(log.find("bus back"), log.rfind("bus back")) << log;
      EXPECT_NE(log.find("[ZEL_SVC] bus back!\n"), std::string::npos) << c.why;
    }
  }
}

TEST_F(Comeback, GoesByWhatThePluginDoesMeanwhile) {
  static const struct {
    const char* why;
    int (*act)();
    int result;
    bool answered;
  } kCases[] = {
      {"makes its object, and cannot", [] { return zel_cloud_msg_init_dbg("test"); }, -1, true},
      {"makes its receiver, and cannot", zel_event_init, -1, true},
      {"registers another handler",
       [] {
         return zel_cloud_msg_handler_register_dbg([](const char*, uint32_t, char*, uint32_t) { return 42; });
       },
       0, true},
      {"releases its object", [] { return zel_cloud_msg_release(), 0; }, 0, false},
  };
  for (const auto& c : kCases) {
    end_broker(SIGKILL);
    EXPECT_EQ(c.act(), c.result) << c.why;
    start_broker();
    EXPECT_TRUE(wait_until(hears, kServedWithin)) << c.why;
    EXPECT_EQ(wait_until(is_answered, milliseconds(c.answered ? 1000 : 100)), c.answered) << c.why;
  }
  EXPECT_EQ(zel_cloud_msg_init_dbg("test"), 0);  // After a release as ever.
}

TEST_F(Comeback, HoldsNoLockWhileABrokerIsSilent) {
  end_broker(SIGKILL);
  {
    const zel::Descriptor silent(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = test::address_of(kPath);
    ASSERT_EQ(bind(silent.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(silent.get(), 2), 0);
    milliseconds longest{0};
    for (const auto end = Clock::now() + milliseconds(1500); Clock::now() < end;) {
      const auto start = Clock::now();
      zel_lock();
      zel_unlock();
      longest = std::max(longest, std::chrono::duration_cast<milliseconds>(Clock::now() - start));
      std::this_thread::sleep_for(milliseconds(5));
    }
    EXPECT_LT(longest, milliseconds(500));
    unlink(kPath.c_str());
  }
  start_broker();
  EXPECT_TRUE(wait_until(is_answered, kServedWithin));
}
