// Plug-ins of several users inside a router box, talking over its bus.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <zel/zel.h>

#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "bus/libubus.h"
#include "support/captured.h"
#include "support/genuine_ways.h"
#include "support/played_broker.h"
#include "support/process.h"
#include "support/stopped_broker.h"

namespace {

// uid 10000 + n runs appid 1000 + n, see packages.json: 1 may all, 2 cloud messages, 3 receive events, 4
// nothing.
constexpr uid_t kServer = 10001;
constexpr uid_t kSender = 10002;
constexpr uid_t kListener = 10003;
constexpr uid_t kNobody = 10004;

using Bus = std::unique_ptr<ubus_context, void (*)(ubus_context*)>;

// A plug-in that serves messages with `handler` (null: none registered) until the test is done with it.
Process serve(zel_cloud_msg_handler handler) {
  return Process(kServer, [=](const Process::Self& self) {
    if (zel_service_init() != 0) return 1;
    if (handler != nullptr && zel_cloud_msg_handler_register(handler) != 0) return 2;
    self.ready();
    self.wait_for_end();
    return 0;
  });
}

// Sends, frees and returns the answer; "(null)" if there was none.
std::string ask(const std::string& target, const std::string& message) {
  const std::unique_ptr<char, void (*)(void*)> answer(zel_cloud_msg_send(target.c_str(), message.c_str()),
                                                      zel_free);
  return answer != nullptr ? answer.get() : "(null)";
}

// Runs checks under another user, in a process of their own.
void check_as(uid_t uid, const std::function<void()>& checks) {
  EXPECT_EQ(run_as(uid,
                   [&] {
                     checks();
                     return testing::Test::HasFailure() ? 1 : 0;
                   }),
            0);
}

// The texts of start-up's messages, each ended by a bar.
std::string service_texts(const std::string& log) {
  static const std::string kTag = "[ZEL_SVC] ";
  std::string texts;
  for (size_t at = 0; (at = log.find(kTag, at)) != std::string::npos;) {
    at += kTag.size();
    texts += log.substr(at, log.find('\n', at) - at) + "|";
  }
  return texts;
}

int echo(const char* message, uint32_t length, char* answer, uint32_t size) {
  snprintf(answer, size, "%u:%u:%s", length, size, message);
  return 0;
}

std::set<int> open_descriptors() {
  std::set<int> open;
  for (int fd = 0; fd < 1024; ++fd) {
    if (fcntl(fd, F_GETFD) != -1) open.insert(fd);
  }
  return open;
}

int stolen_calls = 0;

}  // namespace

// A plug-in's own function by the name of one of the library's.
int perm_common_sem_p(int) {
  ++stolen_calls;
  return -1;
}

class CloudMessage : public testing::Test {
 protected:
  CloudMessage() { zel_debug = 0; }
};

TEST_F(CloudMessage, BringsTheAnswerAlsoWithAStatusThatIsNotZero) {
  const std::string kFull(4095, 'a');
  const struct {
    const char* why;
    zel_cloud_msg_handler handler;
    const char* answer;
    const char* log;
  } kCases[] = {
      {"no handler yet", nullptr, "", ""},
      {"status and answer",
       [](const char*, uint32_t, char* answer, uint32_t size) { return snprintf(answer, size, "five!"); },
       "five!", "[ZEL] ubus_invoke fail errcode:5\n\n\n"},
      {"an answer that fills the buffer",
       [](const char*, uint32_t, char* answer, uint32_t size) {
         memset(answer, 'a', size);
         return 0;
       },
       kFull.c_str(), ""},
      {"status alone", [](const char*, uint32_t, char*, uint32_t) { return 3; }, "",
       "[ZEL] ubus_invoke fail errcode:3\n\n\n"},
  };
  for (const auto& c : kCases) {
    const Process server = serve(c.handler);
    std::string answer;
    const std::string log = captured(stderr, [&] { answer = ask("1001", "m"); });
    EXPECT_EQ(answer, c.answer) << c.why;
    EXPECT_EQ(log.empty() ? log : log.substr(log.find("[ZEL]")), c.log) << c.why;
  }
}

TEST_F(CloudMessage, FindsNoServerThatIsNotThere) {
  const std::string long_name(70, '%');
  for (const std::string& target : {std::string("4711"), std::string(), long_name}) {
    const std::string log = captured(stderr, [&] { EXPECT_EQ(ask(target, "m"), "(null)"); });
    EXPECT_EQ(log.substr(log.find("[ZEL]")), "[ZEL] can't find server :" + target + "\n\n\n");
  }
  EXPECT_EQ(zel_cloud_msg_send(nullptr, "m"), nullptr);
  EXPECT_EQ(zel_cloud_msg_send("1001", nullptr), nullptr);
}

TEST_F(CloudMessage, WithoutATextIsAnsweredToo) {
  const Process server = serve(echo);
  const Bus bus(ubus_connect(nullptr), ubus_free);
  uint32_t object = 0;
  ASSERT_EQ(ubus_lookup_id(bus.get(), "zel_1001", &object), 0);
  blob_buf request{};
  blob_buf_init(&request, 0);
  blobmsg_add_u32(&request, "msg", 5);  // A number, not a text.
  std::string answer = "none";
  const auto take = [](ubus_request* call, int, blob_attr* reply) {
    const blobmsg_policy policy = {"description", BLOBMSG_TYPE_STRING};
    blob_attr* description = nullptr;
    blobmsg_parse(&policy, 1, &description, blob_data(reply), static_cast<unsigned int>(blob_len(reply)));
    if (description != nullptr) *static_cast<std::string*>(call->priv) = blobmsg_get_string(description);
  };
  EXPECT_EQ(ubus_invoke(bus.get(), object, "send_cmd", request.head, take, &answer, 5000), 0);
  EXPECT_EQ(answer, "");
  blob_buf_free(&request);
}

TEST_F(CloudMessage, MayBeSentByAHandler) {
  const Process server = serve(echo);
  const Process relay(kSender, [](const Process::Self& self) {
    if (zel_service_init() != 0) return 1;
    zel_cloud_msg_handler_register([](const char* message, uint32_t, char* answer, uint32_t size) {
      snprintf(answer, size, "relayed %s", ask("1001", message).c_str());
      return 0;
    });
    self.ready();
    self.wait_for_end();
    return 0;
  });
  EXPECT_EQ(ask("1002", "m"), "relayed 1:4096:m");
}

TEST_F(CloudMessage, IsAnsweredByAnotherUsersHandlerToItsOwnSenderAmongMany) {
  const Process server = serve(echo);
  const std::string messages[] = {"hello", "", "%s%n%d%m %", std::string(4000, 'x')};
  std::vector<std::jthread> senders;  // Their first calls start the library together.
  for (const std::string& message : messages) {
    senders.emplace_back([&] {
      EXPECT_EQ(zel_service_init(), 0);
      for (int i = 0; i < 20; ++i) {
        EXPECT_EQ(ask("1001", message), std::to_string(message.size()) + ":4096:" + message);
      }
    });
  }
}

TEST_F(CloudMessage, LeavesNoDescriptorBehindAndLetsNoneOutliveExec) {
  const Process server = serve(echo);
  const std::set<int> at_first = open_descriptors();
  ASSERT_EQ(zel_service_init_dbg("test"), 0);
  const std::set<int> started = open_descriptors();
  EXPECT_GT(started.size(), at_first.size());
  for (const int fd : started) {
    EXPECT_TRUE(at_first.count(fd) != 0 || fcntl(fd, F_GETFD) == FD_CLOEXEC) << fd;
  }
  for (int i = 0; i < 50; ++i) ask(i % 2 != 0 ? "1001" : "4711", "m");
  EXPECT_EQ(open_descriptors(), started);
}

TEST_F(CloudMessage, StartUpAndRegistrationFollowTheAbilities) {
  static const struct {
    const char* why;
    uid_t uid;
    int started;
    const char* log;
    int registered;
  } kCases[] = {
      {"all", kServer, 0,
       "zel loop init!|cloud init!|event init!|zel service thread start!|zel service start!|", 0},
      {"cloud only", kSender, 0, "zel loop init!|cloud init!|zel service thread start!|zel service start!|",
       0},
      {"events only", kListener, 0,
       "zel loop init!|event init!|zel service thread start!|zel service start!|", -1},
      {"neither", kNobody, 0, "zel loop init!|zel service start!|", -1},
      {"no plug-in's user", 12345, -1, "zel loop init!|get appid: fail!|", -1},
  };
  for (const auto& c : kCases) {
    check_as(c.uid, [&] {
      EXPECT_EQ(zel_cloud_msg_handler_register_dbg(echo), -1) << "before the object exists";
      const std::string log = captured(stderr, [&] { EXPECT_EQ(zel_service_init(), c.started) << c.why; });
      EXPECT_EQ(service_texts(log), c.log) << c.why;
      EXPECT_EQ(zel_cloud_msg_handler_register(nullptr), -1);
      EXPECT_EQ(zel_cloud_msg_handler_register(echo), c.registered) << c.why;
      EXPECT_EQ(captured(stderr, [] { EXPECT_EQ(zel_service_init(), 0); }), "") << "never a second time";
    });
  }
}

TEST_F(CloudMessage, LibraryCallsItsOwnFunctionsWhateverThePluginHas) {
  EXPECT_EQ(zel_service_init(), 0);
  EXPECT_EQ(stolen_calls, 0);
}

TEST_F(CloudMessage, ObjectReleasedByItsHandlerStillAnswersThatMessage) {
  const Process server = serve([](const char*, uint32_t, char* answer, uint32_t size) {
    zel_cloud_msg_release();
    snprintf(answer, size, "gone");
    return 0;
  });
  EXPECT_EQ(ask("1001", "m"), "gone");
  const Bus bus(ubus_connect(nullptr), ubus_free);
  uint32_t object = 0;
  while (ubus_lookup_id(bus.get(), "zel_1001", &object) == 0) usleep(1000);
}

TEST_F(CloudMessage, NameTakenByAnotherFailsStartUp) {
  const Process server = serve(echo);
  check_as(kServer, [] {
    const std::string log = captured(stderr, [] { EXPECT_EQ(zel_service_init(), -1); });
    EXPECT_NE(log.find("[ZEL] Failed to add object: zel_1001\n\n\n"), std::string::npos) << log;
    EXPECT_EQ(service_texts(log), "zel loop init!|cloud init: fail!|");
    EXPECT_EQ(zel_cloud_ctx, nullptr);
  });
}

TEST_F(CloudMessage, LibraryLeavesThePluginsSignalsAndSurvivesItsBroker) {
  const auto own = [](int) {};
  for (const int signal : {SIGTERM, SIGCHLD}) std::signal(signal, own);
  std::signal(SIGINT, SIG_DFL);
  genuine_ways.connect_takes_signals = true;
  ASSERT_EQ(zel_service_init_dbg("test"), 0);
  EXPECT_STREQ(zel_object_name, "zel_test");
  EXPECT_EQ(ask("1001", "m"), "(null)");

  kill(test::broker_of(test::kBusPath), SIGKILL);
  while (ask("1001", "m") != "(null)" || access(test::kBusPath, F_OK) == 0) {
    unlink(test::kBusPath);
  }
  const std::string log = captured(stderr, [] { ask("1001", "m"); });
  EXPECT_NE(log.find("[ZEL] Failed to connect to ubus\n\n\n"), std::string::npos) << log;

  struct sigaction now {};
  for (const int signal : {SIGTERM, SIGCHLD}) {
    sigaction(signal, nullptr, &now);
    EXPECT_EQ(now.sa_handler, static_cast<sighandler_t>(own)) << signal;
  }
  for (const int signal : {SIGINT, SIGPIPE}) {
    sigaction(signal, nullptr, &now);
    EXPECT_EQ(now.sa_handler, SIG_DFL) << signal;
  }
}

TEST_F(CloudMessage, ServiceThreadTakesNoSignalThePluginWaitsForLater) {
  ASSERT_EQ(zel_service_init_dbg("test"), 0);
  sigset_t awaited;
  sigemptyset(&awaited);
  sigaddset(&awaited, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &awaited, nullptr);
  kill(getpid(), SIGTERM);  // Would end the process if any thread took it.
  const timespec limit = {5, 0};
  EXPECT_EQ(sigtimedwait(&awaited, nullptr, &limit), SIGTERM);
}

TEST_F(CloudMessage, MayArriveWhileTheObjectIsBeingPublished) {
  kill(test::broker_of(test::kBusPath), SIGKILL);
  using namespace test;
  PlayedBroker played([](const FrameSocket& self) {
    const Received add = self.receive().value();
    self.send(data(add, {number(kObject, kPlayedObject), number(kType, 6000)}));
    self.send(sized_call(4242, kPlayedObject, "send_cmd", 64));
    self.send(status(add, 0));
    for (const int type : {kData, kStatus}) {
      const Received reply = self.receive().value();
      EXPECT_EQ(reply.type(), type);
      EXPECT_EQ(reply.peer(), 4242U);
    }
  });
  while (unlink(test::kBusPath) == 0 || symlink(played.path().c_str(), test::kBusPath) != 0) {
  }
  EXPECT_EQ(zel_service_init_dbg("early"), 0);
  played.finish();
}

TEST_F(CloudMessage, HandlersChildrenInheritThePluginsSignalMask) {
  const Process server = serve([](const char*, uint32_t, char* answer, uint32_t size) {
    sigset_t mask;
    pthread_sigmask(SIG_SETMASK, nullptr, &mask);
    snprintf(answer, size, "%d%d", sigismember(&mask, SIGPIPE), sigismember(&mask, SIGTERM));
    return 0;
  });
  EXPECT_EQ(ask("1001", "m"), "00");
}

TEST(ObjectName, ComesFromTheAppid) {
  char name[64] = "untouched";
  check_as(12345, [&] {
    EXPECT_EQ(zel_cloud_get_object_name(name, sizeof name), -1);
    EXPECT_STREQ(name, "untouched");
  });
  EXPECT_EQ(zel_cloud_get_object_name(name, 6), 0);
  EXPECT_STREQ(name, "zel_1");
}

TEST(ObjectName, CameFromAFileInTheParentOnce) {
  mkdir("/tmp/parent", 0755);
  mkdir("/tmp/parent/app", 0755);
  ASSERT_EQ(chdir("/tmp/parent/app"), 0);
  char name[64] = "untouched";
  EXPECT_EQ(zel_cloud_get_object_name_abandon(name, sizeof name), -1);
  EXPECT_STREQ(name, "untouched");
  static const struct {
    const char* file;
    const char* name;
  } kCases[] = {
      {"../.pluginInfo-1001", "1001"}, {"../.pluginInfo-%s%n%%x", "%s%n%x"}, {"../.pluginInfo-", ""}};
  for (const auto& c : kCases) {
    close(open(c.file, O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
    EXPECT_EQ(zel_cloud_get_object_name_abandon(name, sizeof name), 0);
    EXPECT_STREQ(name, c.name);
    unlink(c.file);
  }
}

TEST(BufferDump, ShowsSixteenBytesALine) {
  unsigned char bytes[17] = {0xA0};
  blob_buf buffer{};
  buffer.buf = bytes;
  buffer.head = reinterpret_cast<blob_attr*>(bytes);
  buffer.buflen = sizeof bytes;
  char heads[200];
  snprintf(heads, sizeof heads, "dump_blob_buf\nbuflen = 17\naddr of head = %p\naddr of buf = %p\n",
           buffer.buf, buffer.buf);
  std::string zeros;
  for (int i = 0; i < 15; ++i) zeros += "00 ";
  EXPECT_EQ(captured(stdout, [&] { dump_blob_buf(&buffer); }), heads + ("\nA0 " + zeros) + "\n00 ");
}
