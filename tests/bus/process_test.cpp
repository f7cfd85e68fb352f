// The bus calls in processes that have signals, forks and cancelled threads, and before brokers that misbehave.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <zel/cloud.h>
#include <zel/event.h>
#include <zel/service.h>

#include <atomic>
#include <chrono>
#include <climits>
#include <thread>

#include "support/captured.h"
#include "support/genuine_ways.h"
#include "support/played_broker.h"
#include "support/process.h"
#include "support/stopped_broker.h"
#include "support/wait_until.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

const std::string kPath = test::kBusPath;
constexpr uid_t kServer = 10001;

std::string ask(const char* target, const std::string& message) {
  const std::unique_ptr<char, void (*)(void*)> answer(zel_cloud_msg_send(target, message.c_str()), zel_free);
  return answer != nullptr ? answer.get() : "(null)";
}

int size_of(const char*, uint32_t length, char* answer, uint32_t size) {
  snprintf(answer, size, "%u", static_cast<unsigned>(length));
  return 0;
}

int size_of_and_print(const char* message, uint32_t length, char* answer, uint32_t size) {
  for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) dprintf(stream, "%s\n", message);
  return size_of(message, length, answer, size);
}

// A plug-in that says how long each message is.
int serve(const Process::Self& self) {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(size_of) != 0) return 1;
  self.ready();
  self.wait_for_end();
  return 0;
}

const std::string kRealPath = kPath + ".real";
const test::ByteString kHello = test::frame(test::kHello, 0, 0x9dcef7a9, {});
constexpr int kGreeting = -1;

// In place of what is there.
void put_at_the_bus(const std::string& broker) {
  unlink(kPath.c_str());
  if (symlink(broker.c_str(), kPath.c_str()) != 0) abort();
}

// A broker that grants everything but for a stage, the greeting or the nth request: there it hangs up, or does nothing
// for a while.
test::PlayedBroker::Script leaves_at(int stage, bool ends) {
  return [=](const test::FrameSocket& client) {
    for (int at = kGreeting;; ++at) {
      const auto request = at != kGreeting ? client.receive() : std::nullopt;
      if (at != kGreeting && !request) return;
      if (at == stage && ends) return;
      if (at == stage) usleep(200000);
      if (request) client.send(test::granted(*request));
      if (at == kGreeting && stage == kGreeting) client.send(kHello);
    }
  };
}

class InAnyProcess : public testing::Test {
 protected:
  InAnyProcess() { zel_debug = 0; }
};

constexpr int kGoesOn = 255;

// Exit status, or 128 and the signal, of a child; kGoesOn if it takes more than `limit`.
int end_of(pid_t child, milliseconds limit = milliseconds(5000)) {
  int status = 0;
  for (const auto end = Clock::now() + limit; waitpid(child, &status, WNOHANG) == 0; usleep(1000)) {
    if (Clock::now() < end) continue;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return kGoesOn;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

}  // namespace

TEST_F(InAnyProcess, ASignalDuringAConnectDoesWhatItWouldHaveDone) {
  static const struct {
    const char* why;
    int signal;
    bool taken_by_libubus;
    int end;
  } kCases[] = {{"TERM ends it", SIGTERM, false, 128 + SIGTERM},
                {"INT ends it", SIGINT, false, 128 + SIGINT},
                {"TERM, of a libubus with handlers", SIGTERM, true, 128 + SIGTERM},
                {"CHLD does nothing", SIGCHLD, true, kGoesOn}};
  const test::StoppedBroker stopped(kPath);
  for (const auto& c : kCases) {
    const pid_t child = fork();
    if (child == 0) {
      genuine_ways.connect_takes_signals = c.taken_by_libubus;
      zel_event_init();
      _exit(0);
    }
    usleep(100000);  // Until it waits for the greeting; earlier, the case only tests less.
    kill(child, c.signal);
    EXPECT_EQ(end_of(child, milliseconds(c.end == kGoesOn ? 500 : 4000)), c.end) << c.why;
  }
}

TEST_F(InAnyProcess, AChildThatNobodyWantsToWaitForIsNoneDuringAConnectEither) {
  if (*TEST_EMULATOR != '\0') GTEST_SKIP() << "an emulator does not pass SA_NOCLDWAIT on";
  const test::StoppedBroker stopped(kPath);
  const pid_t child = fork();
  if (child == 0) {
    struct sigaction unwanted {};
    unwanted.sa_flags = SA_NOCLDWAIT;
    sigaction(SIGCHLD, &unwanted, nullptr);
    std::thread([] {
      usleep(100000);  // Until the other thread waits for the greeting.
      const pid_t grandchild = fork();
      if (grandchild == 0) _exit(0);
      _exit(wait_until([&] { return kill(grandchild, 0) != 0; }, milliseconds(4000)) ? 0 : 1);
    }).detach();
    zel_event_init();
    pause();
  }
  EXPECT_EQ(end_of(child), 0);
}

TEST_F(InAnyProcess, AConnectThatASignalInterruptsIsMadeAgain) {
  const Process server(kServer, serve);
  genuine_ways.interrupted_connects = 3;
  EXPECT_EQ(ask("1001", "abc"), "3");
  EXPECT_EQ(genuine_ways.interrupted_connects, 0);
  genuine_ways.interrupted_connects = INT_MAX;
  EXPECT_EQ(ask("1001", "abc"), "(null)");
}

TEST_F(InAnyProcess, WhatAPluginWithoutStandardStreamsPrintsDoesNotReachTheBus) {
  const Process server(kServer, [](const Process::Self& self) {
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) close(stream);
    if (zel_service_init() != 0 || zel_cloud_msg_handler_register(size_of_and_print) != 0) return 1;
    self.ready();
    self.wait_for_end();
    return 0;
  });
  EXPECT_EQ(ask("1001", "abc"), "3");
  EXPECT_EQ(ask("1001", "abcd"), "4");
}

TEST_F(InAnyProcess, LocksAreFreeInAChildForkedWhileAnotherThreadSends) {
  const test::StoppedBroker stopped(kPath);
  std::thread([] { zel_cloud_msg_send("1001", "m"); }).detach();
  usleep(100000);  // Until it waits with the lock.
  const pid_t child = fork();
  if (child == 0) _exit(zel_lock());
  EXPECT_EQ(end_of(child), 0);
}

TEST_F(InAnyProcess, AChildForkedWhileAnotherThreadLogsCanLog) {
  std::atomic<bool> ends = false;
  captured(stderr, [&] {
    std::thread logger([&] {
      while (!ends) zel_log(6, "m");
    });
    for (int i = 0; i < 20; ++i) {
      usleep(200);
      const pid_t child = fork();
      if (child == 0) {
        zel_log(6, "m");
        _exit(0);
      }
      EXPECT_EQ(end_of(child), 0);
    }
    ends = true;
    logger.join();
  });
}

TEST_F(InAnyProcess, ACancelledSenderGivesTheLockBack) {
  pthread_t sender;
  {
    const test::StoppedBroker stopped(kPath);
    pthread_create(
        &sender, nullptr,
        [](void*) -> void* {
          zel_cloud_msg_send("1001", "m");
          pthread_testcancel();
          return nullptr;
        },
        nullptr);
    usleep(100000);
    pthread_cancel(sender);
    usleep(10000);
  }
  void* result = nullptr;
  pthread_join(sender, &result);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  std::thread([] { EXPECT_EQ(zel_lock(), 0); }).join();
}

TEST_F(InAnyProcess, AMessageNearTheBussLimitIsRefusedBeforeItIsSent) {
  const Process server(kServer, serve);
  // In the frame: 28 bytes around the message, 16 of its own heads, and the text's NUL.
  constexpr size_t kLargest = test::kMaxBody - 256 - 28 - 16 - 1;
  EXPECT_EQ(ask("1001", std::string(kLargest, 'x')), std::to_string(kLargest));
  const std::string log =
      captured(stderr, [] { EXPECT_EQ(ask("1001", std::string(kLargest + 4, 'x')), "(null)"); });
  EXPECT_NE(log.find("[ZEL] ubus_invoke fail errcode:2\n\n"), std::string::npos) << log;
  EXPECT_EQ(ask("1001", "abc"), "3");
}

TEST_F(InAnyProcess, AFrameOverTheLimitDoesNotMakeThePluginDeaf) {
  using namespace test;
  PlayedBroker played([](const FrameSocket& client) {
    client.send(granted(client.receive().value()));
    for (const size_t before : {size_t{64}, kMaxBody + 4}) {
      client.send(sized_call(4242, kPlayedObject, "send_cmd", before));
      client.send(sized_call(4242, kPlayedObject, "send_cmd", 64));
      for (size_t answers = before == 64 ? 4 : 2; answers > 0; --answers)
        EXPECT_EQ(client.receive().value().peer(), 4242U) << before;
    }
  });
  genuine_ways.loses_framing = true;
  put_at_the_bus(played.path());
  EXPECT_EQ(zel_service_init_dbg("test"), 0);
  played.finish();
}

TEST_F(InAnyProcess, EveryCallGoesByWhatItsBrokerDoesAtAnyStage) {
  constexpr auto send = [] { return ask("1001", "m") != "(null)" ? 0 : -1; };
  constexpr auto send_event = [] { return zel_event_send(0, 0, "d"); };
  constexpr auto make_object = [] { return zel_cloud_msg_init_dbg("test"); };
  static const struct {
    const char* why;
    int stage;
    int (*call)();
  } kCases[] = {
      {"a message: greeting", kGreeting, send},
      {"a message: lookup", 0, send},
      {"a message: answer", 1, send},
      {"an event: greeting", kGreeting, send_event},
      {"an event", 0, send_event},
      {"the object: greeting", kGreeting, make_object},
      {"the object", 0, make_object},
      {"the receiver: greeting", kGreeting, zel_event_init},
      {"the receiver", 0, zel_event_init},
      {"the receiver: pattern", 1, zel_event_init},
  };
  const Process server(kServer, serve);
  genuine_ways.calls_outlive_the_connection = true;
  genuine_ways.free_keeps_the_timer = true;
  genuine_ways.writes_raise_sigpipe = true;
  rename(kPath.c_str(), kRealPath.c_str());
  for (const auto& c : kCases) {
    for (const bool ends : {true, false}) {
      Process broker(0, [&](const Process::Self& self) {  // A process: no fork beside a thread.
        test::PlayedBroker played(leaves_at(c.stage, ends),
                                  c.stage == kGreeting ? test::ByteString() : kHello);
        put_at_the_bus(played.path());
        self.ready();
        played.finish();
        return HasFailure() ? 1 : 0;
      });
      const int end = run_as(0, [&] {
        const auto start = Clock::now();
        if (c.call() != (ends ? -1 : 0)) return 1;
        if (Clock::now() - start > milliseconds(5000)) return 2;
        put_at_the_bus(kRealPath);
        if (ends && c.call() != 0) return 3;
        return genuine_ways.freed_with_an_armed_timer;
      });
      EXPECT_EQ(end, 0) << c.why << (ends ? ", where the broker ends" : ", where it is stopped for a time");
      EXPECT_EQ(broker.finish(), 0) << c.why;
    }
  }
}

TEST_F(InAnyProcess, AMessageWaitsEightSecondsForItsAnswer) {
  const Process server(kServer, [](const Process::Self& self) {
    if (zel_service_init() != 0) return 1;
    zel_cloud_msg_handler_register([](const char*, uint32_t, char*, uint32_t) { return pause(); });
    self.ready();
    self.wait_for_end();
    return 0;
  });
  const auto start = Clock::now();
  const std::string log = captured(stderr, [] { EXPECT_EQ(ask("1001", "m"), "(null)"); });
  EXPECT_NE(log.find("[ZEL] ubus_invoke fail errcode:7\n\n"), std::string::npos) << log;
  EXPECT_GE(Clock::now() - start, milliseconds(8000));
  EXPECT_LT(Clock::now() - start, milliseconds(12000));
}

TEST_F(InAnyProcess, AReleaseGivesAStoppedBrokerASecondAtMost) {
  static std::atomic<pid_t> broker = test::broker_of(kPath);
  static std::atomic<bool> released = false;
  ASSERT_EQ(zel_service_init_dbg("test"), 0);
  zel_cloud_msg_handler_register_dbg([](const char*, uint32_t, char*, uint32_t) {
    kill(broker, SIGSTOP);
    zel_cloud_msg_release();
    released = true;
    return 0;
  });
  const test::RawClient client(kPath);
  const uint32_t object = client.request(test::lookup("zel_test"))[0].number(test::kObject).value();
  client.send(test::sized_call(object, object, "send_cmd", 64));
  while (!released) usleep(1000);
  const auto start = Clock::now();
  EXPECT_EQ(zel_lock(), 0);
  EXPECT_LT(Clock::now() - start, milliseconds(2000));
  zel_unlock();
  kill(broker, SIGCONT);

  ASSERT_EQ(zel_cloud_msg_init_dbg("test"), 0);
  const test::StoppedBroker stopped(kPath);
  zel_cloud_msg_release();  // Outside a handler: would wait for ever.
}

TEST_F(InAnyProcess, MessagesBehindAReleaseAreAnsweredWithTheEmptyText) {
  using namespace test;
  static int go[2];
  ASSERT_EQ(pipe(go), 0);
  const Process server(kServer, [](const Process::Self& self) {
    if (zel_service_init() != 0) return 1;
    zel_cloud_msg_handler_register([](const char*, uint32_t, char* answer, uint32_t size) {
      char byte;
      if (read(go[0], &byte, 1) == 1) zel_cloud_msg_release();
      return snprintf(answer, size, "released") < 0 ? 1 : 0;
    });
    self.ready();
    self.wait_for_end();
    return 0;
  });
  std::vector<RawClient> clients;
  for (int i = 0; i < 8; ++i) {
    const RawClient& client = clients.emplace_back(kBusPath);
    const uint32_t object = client.request(lookup("zel_1001"))[0].number(kObject).value();
    client.send(sized_call(object, object, "send_cmd", 64));
    EXPECT_TRUE(client.waiting().empty()) << "the broker has passed it on";
  }
  ASSERT_EQ(write(go[1], "x", 1), 1);
  for (const RawClient& client : clients) {
    const char* const expected = &client == &clients.front() ? "released" : "";
    EXPECT_EQ(client.receive().value().payload(kPayload),
              field(kString, "description", {terminated(expected)}));
    EXPECT_EQ(client.receive().value().type(), kStatus);
  }
}

TEST_F(InAnyProcess, AReleaseGoesByABrokerThatEndsAtItsFarewell) {
  using namespace test;
  static std::atomic<bool> registered = false;
  PlayedBroker played([](const FrameSocket& client) {
    client.send(granted(client.receive().value()));
    wait_until([] { return registered.load(); });
    client.send(sized_call(4242, kPlayedObject, "send_cmd", 64));
    while (client.receive().value().type() != kInvoke) continue;  // The answer goes before.
  });
  genuine_ways.calls_outlive_the_connection = true;
  genuine_ways.free_keeps_the_timer = true;
  genuine_ways.writes_raise_sigpipe = true;
  rename(kBusPath, kRealPath.c_str());
  put_at_the_bus(played.path());
  ASSERT_EQ(zel_service_init_dbg("test"), 0);
  zel_cloud_msg_handler_register_dbg(
      [](const char*, uint32_t, char*, uint32_t) { return zel_cloud_msg_release(), 0; });
  registered = true;
  played.finish();
  put_at_the_bus(kRealPath);
  EXPECT_EQ(zel_cloud_msg_init_dbg("test"), 0);
  EXPECT_EQ(genuine_ways.freed_with_an_armed_timer, 0);
}
