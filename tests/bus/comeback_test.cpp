// A plug-in whose broker ends and starts again.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <zel/cloud.h>
#include <zel/event.h>
#include <zel/service.h>

#include <atomic>
#include <chrono>
#include <ctime>
#include <future>
#include <optional>
#include <vector>

#include "bus/libubus.h"
#include "support/broker_process.h"
#include "support/captured.h"
#include "support/genuine_ways.h"
#include "support/played_broker.h"
#include "support/stopped_broker.h"
#include "support/wait_until.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kPath = test::kBusPath;

std::atomic<int> events = 0;

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

// How long it takes from now until the plug-in is served, object and receiver.
milliseconds time_until_served() {
  const auto start = Clock::now();
  EXPECT_TRUE(wait_until(is_answered));
  EXPECT_TRUE(wait_until(hears));
  return std::chrono::duration_cast<milliseconds>(Clock::now() - start);
}

// Whether it is this process that has connected, and not the box's recorder.
bool is_own(const zel::Descriptor& client) {
  ucred peer{};
  socklen_t size = sizeof peer;
  return getsockopt(client.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == getpid();
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
    genuine_ways.connect_takes_signals = true;
    genuine_ways.loses_framing = true;
    genuine_ways.calls_outlive_the_connection = true;
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
  // Ends the broker with a socket of the test's in its place: at no time is there none.
  zel::Descriptor take_its_place() {
    const pid_t pid = test::broker_of(kPath);
    zel::Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = test::address_of(kPath + ".aside");
    EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.get(), 8), 0);
    EXPECT_EQ(rename(address.sun_path, kPath.c_str()), 0);
    broker_.reset();
    kill(pid, SIGKILL);
    return listener;
  }
  void start_broker() {
    unlink(kPath.c_str());
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
                {"terminated", SIGTERM, milliseconds(0), 3},
                {"away until the pauses are the longest", SIGKILL, milliseconds(800), 3}};
  for (const auto& c : kCases) {
    auto fastest = milliseconds::max();  // Others may be slow because the machine is busy.
    for (int i = 0; i < c.times; ++i) {
      const std::string log = captured(stderr, [&] {
        end_broker(c.signal);
        const double before = cpu_seconds();
        std::this_thread::sleep_for(c.gap);
        EXPECT_LT(cpu_seconds() - before, 0.2) << c.why;
        start_broker();
        fastest = std::min(fastest, time_until_served());
      });
      EXPECT_EQ(log.find("bus lost"), log.rfind("bus lost")) << log;
      EXPECT_NE(log.find("[ZEL_SVC] bus lost, waiting for it!\n"), std::string::npos) << c.why;
      EXPECT_EQ(log.find("bus back"), log.rfind("bus back")) << log;
      EXPECT_NE(log.find("[ZEL_SVC] bus back!\n"), std::string::npos) << c.why;
    }
    printf("%s: served again after %d ms\n", c.why, static_cast<int>(fastest.count()));
    EXPECT_LT(fastest, milliseconds(1000)) << c.why;
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
    EXPECT_TRUE(wait_until([&] { return c.act() == c.result; })) << c.why;  // Until the end is noticed.
    start_broker();
    EXPECT_TRUE(wait_until(hears)) << c.why;
    EXPECT_EQ(is_answered(), c.answered) << c.why;  // The object comes back together with the receiver.
  }
  EXPECT_EQ(zel_cloud_msg_init_dbg("test"), 0);  // After a release as ever.
}

TEST_F(Comeback, HearsWhileAnotherHasTheNameOfItsObject) {
  end_broker(SIGKILL);
  const std::string aside = kPath + ".aside";
  broker_.emplace(aside);
  test::RawClient other(aside);
  other.add_object("zel_test");
  other.add_object("zel_taken");
  ASSERT_EQ(rename(aside.c_str(), kPath.c_str()), 0);
  EXPECT_TRUE(wait_until(hears));
  EXPECT_EQ(zel_cloud_msg_init_dbg("taken"), -1);  // Of another name than what is to come back.
  other.close();
  EXPECT_TRUE(wait_until(is_answered));
}

TEST_F(Comeback, FollowsAFrameThatMakesNoSense) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
  const zel::Descriptor ours(ends[0]);
  const zel::Descriptor brokers(ends[1]);
  test::ByteString bad = test::frame(test::kStatus, 0, 0, {});
  bad[0] = 1;  // the version
  ASSERT_EQ(send(brokers.get(), bad.data(), bad.size(), 0), static_cast<ssize_t>(bad.size()));
  ASSERT_EQ(dup2(ours.get(), zel_event_ctx->sock.fd), zel_event_ctx->sock.fd);
  EXPECT_TRUE(is_answered());  // The service thread turns to its descriptors as they are now.
  EXPECT_TRUE(wait_until(hears));
}

TEST_F(Comeback, IsNotNeededBecauseOfAChildThatReleases) {
  const std::string log = captured(stderr, [] {
    const pid_t child = fork();
    if (child == 0) {
      zel_cloud_msg_release();
      _exit(0);
    }
    waitpid(child, nullptr, 0);
    EXPECT_TRUE(is_answered());
  });
  EXPECT_EQ(log, "");
}

TEST_F(Comeback, GoesByABrokerThatEndsOrIsStoppedWhenTheObjectIsPublished) {
  for (const bool ends : {true, false}) {
    {
      const zel::Descriptor played = take_its_place();
      std::vector<zel::Descriptor> others;
      for (bool published = false; !published;) {
        ASSERT_TRUE(test::readable(played.get()));
        zel::Descriptor accepted(accept(played.get(), nullptr, nullptr));
        if (!is_own(accepted)) {
          others.push_back(std::move(accepted));
          continue;
        }
        const test::FrameSocket client(std::move(accepted));
        // One that only looks sends no request, and may have gone.
        client.try_send(test::frame(test::kHello, 0, 0x9dcef7a9, {}), 0);
        const auto request = client.receive();
        published = request && request->type() == test::kAdd;
        if (published && !ends) {
          std::this_thread::sleep_for(milliseconds(200));
          client.send(test::granted(*request));
        }
      }
    }
    start_broker();
    EXPECT_TRUE(wait_until(is_answered)) << (ends ? "it ends" : "it is stopped");
    EXPECT_TRUE(wait_until(hears)) << (ends ? "it ends" : "it is stopped");
  }
}

TEST_F(Comeback, HoldsNoLockWhileABrokerIsSilent) {
  {
    const zel::Descriptor silent = take_its_place();
    std::this_thread::sleep_for(milliseconds(1000));  // It has been tried by then; else the case tests less.
    auto locked = std::async(std::launch::async, [] { return zel_lock() + zel_unlock(); });
    EXPECT_EQ(locked.wait_for(std::chrono::seconds(10)), std::future_status::ready);
    int tries = 0;
    for (const auto end = Clock::now() + milliseconds(1000); Clock::now() < end;) {
      if (!test::readable(silent.get(), 100)) continue;
      const zel::Descriptor client(accept(silent.get(), nullptr, nullptr));
      if (is_own(client)) ++tries;  // One looks, and connects then.
    }
    EXPECT_LT(tries, 20) << "its pauses grow";
  }
  start_broker();
  EXPECT_TRUE(wait_until(is_answered));
}
