// The calls' checks, their requests and what they log.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/download.h>
#include <zel/service.h>

#include <chrono>
#include <cstring>
#include <list>

#include "download/daemon.h"
#include "support/process.h"

namespace {

constexpr char kUrl[] = "http://127.0.0.1/%s%n";
const task_param kFile = {kUrl, "/tmp", "a \"file\""};

char id[ZEL_TASK_ID_SIZE];
task_info info;

int create() {
  return zel_download_task_create(&kFile, id);
}
int query() {
  return zel_download_task_query(kGid, &info);
}
int get_list() {
  return zel_download_task_get_list(&info, 1);
}
int pause_task() {
  return zel_download_task_pause(kGid);
}
int resume() {
  return zel_download_task_resume(kGid);
}
int del() {
  return zel_download_task_del(kGid);
}

const std::string kHead = "[{\n\t\t\"jsonrpc\":\t\"2.0\",\n\t\t\"id\":\t\"";
const std::string kKeys =
    R"(["gid", "status", "totalLength", "completedLength", "downloadSpeed", "errorCode"])";

std::string named(const std::string& method, const std::string& params) {
  return "\"jsonrpc\":\t\"2.0\",\n\t\t\"id\":\t\"" + method + "\",\n\t\t\"method\":\t\"" + method +
         "\",\n\t\t\"params\":\t[" + params + "]\n\t}";
}

const std::string kLists = "/jsonrpc [{\n\t\t" + named("aria2.tellActive", kKeys) + ", {\n\t\t" +
                           named("aria2.tellWaiting", "0, 100, " + kKeys) + ", {\n\t\t" +
                           named("aria2.tellStopped", "0, 100, " + kKeys) + "]";

std::string control(const std::string& method) {
  return "[{\n\t\t" + named(method, "\"" + std::string(kGid) + "\"") + "]";
}

// Each call, what it posts, and what it logs when it cannot.
const struct Call {
  const char* name;
  int (*call)();
  std::string request;
  const char* unsent;
  int timeout_s;  // for all attempts
} kCalls[] = {
    {"zel_download_task_create", create,
     "/jsonrpc {\n\t\"jsonrpc\":\t\"2.0\",\n\t\"id\":\t\"6c6936019aa2c972dd75b6c286f8f084\",\n"
     "\t\"method\":\t\"aria2.addUri\",\n\t\"params\":\t[[\"http://127.0.0.1/%s%n\"], {\n"
     "\t\t\t\"out\":\t\"a \\\"file\\\"\",\n\t\t\t\"dir\":\t\"/tmp\",\n\t\t\t\"appid\":\t\"1001\"\n\t\t}]\n}",
     "|Post req_str fail", 10},
    {"zel_download_task_query", query,
     "/jsonrpc " + kHead + "59d538ee8126b916002d5735999633ec\",\n\t\t\"method\":\t\"aria2.tellStatus\",\n" +
         "\t\t\"params\":\t[\"" + kGid + "\", " + kKeys + "]\n\t}]",
     "|Post req_str fail", 20},
    {"zel_download_task_getnum", zel_download_task_getnum, kLists, "|Post reqstr fail ", 20},
    {"zel_download_task_get_list", get_list, kLists, "|Post reqstr fail ", 20},
    {"zel_download_task_pause", pause_task, "/jsonrpc " + control("aria2.pause"), "|Post reqstr fail ", 20},
    {"zel_download_task_resume", resume, "/jsonrpc " + control("aria2.unpause"), "|Post reqstr fail ", 20},
    {"zel_download_task_del", del, "/jsonrpc " + control("aria2.forceRemove"), "|Post reqstr fail ", 20},
};

}  // namespace

TEST(DownloadCalls, AreRefusedInAFixedOrder) {
  const Daemon daemon({"[]"});
  for (const uid_t uid : {kNobody, uid_t{12345}}) {
    const auto refused = [] {
      const bool all = zel_download_task_create(nullptr, nullptr) == 8000 &&
                       zel_download_task_getnum() == 8000 && zel_download_task_query("", nullptr) == 8000 &&
                       zel_download_task_get_list(nullptr, 0) == 8000 &&
                       zel_download_task_pause(nullptr) == 8000 && zel_download_task_resume("") == 8000 &&
                       zel_download_task_del("") == 8000;
      return all ? 0 : 1;
    };
    EXPECT_EQ(run_as(uid, refused), 0) << uid;
  }
  ASSERT_EQ(setuid(kAll), 0);
  const struct {
    task_param param;
    int code;
  } kParams[] = {
      {{nullptr, nullptr, nullptr}, 8001}, {{"", "/none", ""}, 8001},   {{nullptr, "/none", "f"}, 8002},
      {{"", "/none", "f"}, 8002},          {{"u", nullptr, "f"}, 8003}, {{"u", "/none", "f"}, 8003},
      {{"u", "/etc/passwd", "f"}, 8003},   {{"u", "/etc", "f"}, 8004},  {{"u", "/tmp", "f"}, 8006}};
  EXPECT_EQ(zel_download_task_create(nullptr, nullptr), 8005);
  for (const auto& c : kParams) {
    EXPECT_EQ(zel_download_task_create(&c.param, nullptr), c.code) << c.param.dir;
  }
  for (const char* none : {static_cast<const char*>(nullptr), ""}) {
    EXPECT_EQ(zel_download_task_query(none, nullptr), 8051);
    EXPECT_EQ(zel_download_task_pause(none), 8051);
    EXPECT_EQ(zel_download_task_resume(none), 8051);
    EXPECT_EQ(zel_download_task_del(none), 8051);
  }
  EXPECT_EQ(zel_download_task_query(kGid, nullptr), 8006);
  EXPECT_EQ(zel_download_task_get_list(nullptr, 0), 8006);
  EXPECT_EQ(zel_download_task_get_list(&info, 0), 8007);
  EXPECT_EQ(daemon.requests(), std::vector<std::string>{});
}

TEST(DownloadCalls, AskTheDaemonWordForWordAndSayWhenItIsNotThere) {
  ASSERT_EQ(setuid(kAll), 0);
  for (const auto& c : kCalls) {
    zel_debug = 0;
    {
      const Daemon daemon({"?"});
      logged([&] { EXPECT_EQ(c.call(), -1) << c.name; });
      EXPECT_EQ(daemon.requests(), std::vector<std::string>{c.request}) << c.name;
      EXPECT_STREQ(dst_buffer, "?");
    }
    const std::string request = c.call == resume ? "|req_string = " + c.request.substr(9) : "";
    EXPECT_EQ(logged([&] { EXPECT_EQ(c.call(), -1); }), request + c.unsent);
  }
  zel_debug = 1;
  EXPECT_EQ(logged(create),
            "|check_permission_appid:# get_id_ret:0  appid:1001 |check_permission_appid:# perm_check_ret:0"
            "|normal_task_create:# Post req_str fail");
}

TEST(DownloadCalls, LogTheirTrafficEachInItsWay) {
  ASSERT_EQ(setuid(kAll), 0);
  const std::string answer = R"([{"error":"%s%n"}])";
  const Daemon daemon({answer});
  for (const auto& c : {kCalls[4], kCalls[5], kCalls[6]}) {
    const std::string place = "|" + std::string(c.name) + ":# ";
    const std::string request = "req_string = " + c.request.substr(9);
    const std::string traffic =
        c.call == pause_task ? ""
                             : (c.call == resume ? "|" : place) + request + place + "res_string = " + answer;
    const std::string refused = "task_id not find in downloading list";
    zel_debug = 1;
    EXPECT_EQ(logged(c.call),
              "|check_permission:# get_id_ret:0  appid:1001 |check_permission:# perm_check_ret:0" + traffic +
                  place + refused);
    zel_debug = 0;
    EXPECT_EQ(logged(c.call), (c.call == resume ? "|" + request : "") + "|" + refused);
  }
}

// All at once, each in a process of its own: in one they would wait for each other.
TEST(DownloadCalls, WaitForADaemonThatHangsAsLongAsTheirAttemptsTake) {
  const Daemon daemon(test::End::kHang);
  std::list<Process> waiting;
  for (const auto& c : kCalls) {
    waiting.emplace_back(kAll, [&c](const Process::Self& self) {
      self.ready();
      const auto start = std::chrono::steady_clock::now();
      const int result = c.call();
      const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
      return result == -1 && taken.count() >= c.timeout_s - 0.1 && taken.count() < c.timeout_s + 5 ? 0 : 1;
    });
  }
  auto call = std::begin(kCalls);
  for (Process& process : waiting) EXPECT_EQ(process.finish(), 0) << (call++)->name;
}
