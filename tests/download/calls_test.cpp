// The calls' checks, their requests, and what they log of both.
#include <gtest/gtest.h>
#include <unistd.h>
#include <zel/download.h>
#include <zel/service.h>

#include <vector>

#include "download/daemon.h"
#include "support/process.h"

namespace {

const task_param kFile = {"http://127.0.0.1/%s%n", "/tmp", "a \"file\""};
char id[ZEL_TASK_ID_SIZE];
task_info info;

constexpr char kKeys[] =
    R"(["gid", "status", "totalLength", "completedLength", "downloadSpeed", "errorCode"])";

std::string request_of(const std::string& method, const std::string& params, const std::string& digest = "") {
  return R"({"jsonrpc":"2.0","id":")" + (digest.empty() ? method : digest) + R"(","method":")" + method +
         R"(","params":[)" + params + "]}";
}

const std::string kTask = "\"" + std::string(kGid) + "\"";
const std::string kLists = "[" + request_of("aria2.tellActive", kKeys) + ", " +
                           request_of("aria2.tellWaiting", std::string("0, 100, ") + kKeys) + ", " +
                           request_of("aria2.tellStopped", std::string("0, 100, ") + kKeys) + "]";

// What each posts, without tabs and line ends.
const struct Call {
  const char* name;
  int (*call)();
  std::string request;
  std::pair<int, int> patience = {10, 2};
  const char* unsent = "|Post reqstr fail ";
} kCalls[] = {
    {"zel_download_task_create",
     [] { return zel_download_task_create(&kFile, id); },
     request_of("aria2.addUri",
                R"(["http://127.0.0.1/%s%n"], {"out":"a \"file\"","dir":"/tmp","appid":"1001"})",
                "6c6936019aa2c972dd75b6c286f8f084"),
     {10, 1},
     "|Post req_str fail"},
    {"zel_download_task_query",
     [] { return zel_download_task_query(kGid, &info); },
     "[" + request_of("aria2.tellStatus", kTask + ", " + kKeys, "59d538ee8126b916002d5735999633ec") + "]",
     {20, 1},
     "|Post req_str fail"},
    {"zel_download_task_getnum", zel_download_task_getnum, kLists},
    {"zel_download_task_get_list", [] { return zel_download_task_get_list(&info, 1); }, kLists},
    {"zel_download_task_pause", [] { return zel_download_task_pause(kGid); },
     "[" + request_of("aria2.pause", kTask) + "]"},
    {"zel_download_task_resume", [] { return zel_download_task_resume(kGid); },
     "[" + request_of("aria2.unpause", kTask) + "]"},
    {"zel_download_task_del", [] { return zel_download_task_del(kGid); },
     "[" + request_of("aria2.forceRemove", kTask) + "]"},
};

// Refused, from the first check on.
const struct {
  task_param param;
  int code;
} kBadTasks[] = {
    {{"", "/none", nullptr}, 8001}, {{nullptr, "/none", ""}, 8001}, {{nullptr, "/none", "f"}, 8002},
    {{"", nullptr, "f"}, 8002},     {{"u", nullptr, "f"}, 8003},    {{"u", "/none", "f"}, 8003},
    {{"u", "/bin/sh", "f"}, 8003},  {{"u", "/etc", "f"}, 8004},     {{"u", "/tmp", "f"}, 8006}};
const struct {
  const char* name;
  int (*call)();
  int code;
} kBadCalls[] = {
    {"create", [] { return zel_download_task_create(nullptr, nullptr); }, 8005},
    {"query null", [] { return zel_download_task_query(nullptr, nullptr); }, 8051},
    {"query empty", [] { return zel_download_task_query("", nullptr); }, 8051},
    {"query", [] { return zel_download_task_query(kGid, nullptr); }, 8006},
    {"pause null", [] { return zel_download_task_pause(nullptr); }, 8051},
    {"pause empty", [] { return zel_download_task_pause(""); }, 8051},
    {"resume null", [] { return zel_download_task_resume(nullptr); }, 8051},
    {"resume empty", [] { return zel_download_task_resume(""); }, 8051},
    {"delete null", [] { return zel_download_task_del(nullptr); }, 8051},
    {"delete empty", [] { return zel_download_task_del(""); }, 8051},
    {"list", [] { return zel_download_task_get_list(nullptr, 0); }, 8006},
    {"list of none", [] { return zel_download_task_get_list(&info, 0); }, 8007},
};

// `code` instead of each one's own, if it is not 0. Returns whether it was so.
bool expect_refusals(int code) {
  for (const auto& c : kBadTasks)
    EXPECT_EQ(zel_download_task_create(&c.param, nullptr), code != 0 ? code : c.code) << &c - kBadTasks;
  for (const auto& c : kBadCalls) EXPECT_EQ(c.call(), code != 0 ? code : c.code) << c.name;
  return !testing::Test::HasFailure();
}

}  // namespace

TEST(DownloadCalls, AreRefusedInAFixedOrder) {
  const test::Server daemon = daemon_of("[]");
  for (const uid_t uid : {kNobody, uid_t{12345}}) {
    EXPECT_EQ(run_as(uid, [] { return expect_refusals(8000) ? 0 : 1; }), 0);
    EXPECT_EQ(run_as(uid, [] { return zel_download_task_getnum() == 8000 ? 0 : 1; }), 0);
  }
  ASSERT_EQ(setuid(kAll), 0);
  expect_refusals(0);
  EXPECT_EQ(daemon.requests().size(), 0U);
}

TEST(DownloadCalls, AskTheDaemonWordForWordAndSayWhenItIsNotThere) {
  ASSERT_EQ(setuid(kAll), 0);
  zel_debug = 0;
  for (const auto& c : kCalls) {
    {
      const test::Server daemon = daemon_of("?");
      logged([&] { EXPECT_EQ(c.call(), -1) << c.name; });
      EXPECT_EQ(seen.patience, c.patience) << c.name;
      ASSERT_EQ(daemon.requests().size(), 1U) << c.name;
      std::string request = daemon.requests()[0];
      EXPECT_TRUE(request.starts_with("POST /jsonrpc HTTP/1.1\r\nHost: 127.0.0.1:6800\r\n"));
      request.erase(0, request.find("\r\n\r\n") + 4);
      std::erase_if(request, [](char byte) { return byte == '\n' || byte == '\t'; });
      EXPECT_EQ(request, c.request);
      EXPECT_STREQ(dst_buffer, "?");
    }
    const std::string log = logged([&] { EXPECT_EQ(c.call(), -1); });
    EXPECT_TRUE(log.ends_with(c.unsent)) << c.name << log;
  }
  zel_debug = 1;
  EXPECT_EQ(
      logged(kCalls[0].call),
      "|7 check_permission_appid:# get_id_ret:0  appid:1001 |7 check_permission_appid:# perm_check_ret:0"
      "|normal_task_create:# Post req_str fail");
}

TEST(DownloadCalls, LogTheirTrafficEachInItsWay) {
  ASSERT_EQ(setuid(kAll), 0);
  const auto request = [](const std::string& method) {
    return "req_string = [{\n\t\t\"jsonrpc\":\t\"2.0\",\n\t\t\"id\":\t\"" + method +
           "\",\n\t\t\"method\":\t\"" + method + "\",\n\t\t\"params\":\t[\"2089b05ecca3d829\"]\n\t}]";
  };
  const std::string resumed = request("aria2.unpause");
  const std::string permitted =
      "|7 check_permission:# get_id_ret:0  appid:1001 |7 check_permission:# perm_check_ret:0";
  const std::string refused = "task_id not find in downloading list";
  const test::Server daemon = daemon_of(R"([{"error":"%s%n"}])");
  const auto place = [](int call) { return std::string(kCalls[call].name) + ":# "; };
  const auto answer = [&](int call) {
    return "|7 " + place(call) + R"(res_string = [{"error":"%s%n"}]|)" + place(call) + refused;
  };
  EXPECT_EQ(logged(kCalls[4].call), permitted + "|" + place(4) + refused);
  EXPECT_EQ(logged(kCalls[5].call), permitted + "|" + resumed + answer(5));
  EXPECT_EQ(logged(kCalls[6].call), permitted + "|7 " + place(6) + request("aria2.forceRemove") + answer(6));
  zel_debug = 0;
  EXPECT_EQ(logged(kCalls[5].call), "|" + resumed + "|" + refused);
  EXPECT_EQ(logged(kCalls[6].call), "|" + refused);
}
