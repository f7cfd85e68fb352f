// The bus calls in processes that have signals, forks and cancelled threads, and before brokers that misbehave.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <zel/cloud.h>
#include <zel/event.h>
#include <zel/service.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "support/captured.h"
#include "support/genuine_ways.h"
#include "support/played_broker.h"
#include "support/process.h"
#include "support/stopped_broker.h"

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

// A plug-in that says how long each message is.
int serve(const Process::Self& self) {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(size_of) != 0) return 1;
  self.ready();
  self.wait_for_end();
  return 0;
}

class InAnyProcess : public testing::Test {
 protected:
  InAnyProcess() { zel_debug = 0; }
};

// Exit status, or 128 and the signal, of a child; 255 if it takes more than `limit`.
int end_of(pid_t child, milliseconds limit = milliseconds(5000)) {
  int status = 0;
  for (const auto end = Clock::now() + limit; waitpid(child, &status, WNOHANG) == 0; usleep(1000)) {
    if (Clock::now() < end) continue;
    kill(child, SIGKILL);
    waitpid(child, &status, 0);
    return 255;
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
                {"CHLD does nothing", SIGCHLD, true, 255}};
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
    EXPECT_EQ(end_of(child, milliseconds(500)), c.end) << c.why;
  }
}

TEST_F(InAnyProcess, AConnectThatASignalInterruptsIsMadeAgain) {
  const Process server(kServer, serve);
  genuine_ways.interrupted_connects = 3;
  EXPECT_EQ(ask("1001", "abc"), "3");
  EXPECT_EQ(genuine_ways.interrupted_connects, 0);
}

TEST_F(InAnyProcess, LocksAreFreeInAChildForkedWhileAnotherThreadSends) {
  const test::StoppedBroker stopped(kPath);
  std::thread([] { zel_cloud_msg_send("1001", "m"); }).detach();
  usleep(100000);  // Until it waits with the lock.
  const pid_t child = fork();
  if (child == 0) _exit(zel_lock());
  EXPECT_EQ(end_of(child), 0);
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

TEST_F(InAnyProcess, EveryCallReturnsWhenTheBrokerHangsUpInsteadOfAnAnswer) {
  static const struct {
    const char* why;
    int granted;
    bool (*fails)();
  } kCases[] = {
      {"a lookup", 0, [] { return zel_cloud_msg_send("1001", "m") == nullptr; }},
      {"a message", 1, [] { return zel_cloud_msg_send("1001", "m") == nullptr; }},
      {"an event", 0, [] { return zel_event_send(0, 0, "d") == -1; }},
      {"the object", 0, [] { return zel_cloud_msg_init_dbg("test") == -1; }},
      {"the receiver", 0, [] { return zel_event_init() == -1; }},
      {"its pattern", 1, [] { return zel_event_init() == -1; }},
  };
  genuine_ways.calls_outlive_the_connection = true;
  genuine_ways.free_keeps_the_timer = true;
  rename(kPath.c_str(), (kPath + ".real").c_str());
  for (const auto& c : kCases) {
    const test::PlayedBroker played(test::hangs_up_after(c.granted));
    ASSERT_EQ(symlink(played.path().c_str(), kPath.c_str()), 0);
    const auto start = Clock::now();
    EXPECT_TRUE(c.fails()) << c.why;
    EXPECT_LT(Clock::now() - start, milliseconds(2000)) << c.why;
    unlink(kPath.c_str());
  }
  EXPECT_EQ(genuine_ways.freed_with_an_armed_timer, 0);
}

TEST_F(InAnyProcess, MessagesBehindAReleaseAreAnsweredWithTheEmptyText) {
  const Process server(kServer, [](const Process::Self& self) {
    if (zel_service_init() != 0) return 1;
    zel_cloud_msg_handler_register([](const char*, uint32_t, char* answer, uint32_t size) {
      usleep(200000);  // The others' messages come in.
      zel_cloud_msg_release();
      return snprintf(answer, size, "released") < 0 ? 1 : 0;
    });
    self.ready();
    self.wait_for_end();
    return 0;
  });
  std::vector<std::unique_ptr<Process>> senders;
  const auto start = Clock::now();
  for (int i = 0; i < 8; ++i) {
    senders.push_back(std::make_unique<Process>(10002, [](const Process::Self& self) {
      self.ready();
      const std::string answer = ask("1001", "m");
      return answer == "released" ? 1 : answer.empty() ? 2 : 3;
    }));
  }
  int released = 0;
  for (const auto& sender : senders) {
    const int end = sender->finish();
    EXPECT_NE(end, 3);
    if (end == 1) ++released;
  }
  EXPECT_EQ(released, 1);
  EXPECT_LT(Clock::now() - start, milliseconds(4000));
}
