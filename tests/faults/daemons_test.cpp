// The router's services, stopped, ended and started again at each stage of a call.
#include <gtest/gtest.h>
#include <zel/download.h>
#include <zel/router.h>

#include "support/http_server.h"

using namespace test;
using namespace std::chrono_literals;

namespace {

constexpr char kId[] = "2089b05ecca3d829";
const std::string kSettings = R"({"ResponseHeader": {"ErrorCode": 0, "ErrorMsg": ""}, "WAN_Type": 2,
    "WAN_STATIC_DNS1": "", "WAN_STATIC_DNS2": "", "WAN_STATIC_IP": "10.0.0.2", "WAN_STATIC_Subnet": "255.0.0.0",
    "WAN_STATIC_Gateway": "10.0.0.1"})";

const struct Call {
  const char* name;
  int (*call)();
  const char* port;
  std::string body;
  int requests;     // that one call makes
  bool asks_twice;  // where a request finds no answer
  int in_vain;      // its result then
} kCalls[] = {
    {"zel_get_device_name",
     [] {
       char name[9];
       return zel_get_device_name(name, sizeof name);
     },
     "14000",
     R"({"ResponseHeader": {"ErrorCode": 0, "ErrorMsg": ""},
         "WIFIStatus": [{"WIFI_WirelessFrequency": "2.4", "WIFI_SSID": "Home"}]})",
     1, false, -2},
    {"zel_set_router_dns", [] { return zel_set_router_dns("9.9.9.9", ""); }, "14000", kSettings, 2, true, -2},
    {"zel_download_task_query",
     [] {
       task_info info;
       return zel_download_task_query(kId, &info);
     },
     "6800",
     R"([{"result": {"gid": "2089b05ecca3d829", "status": "paused", "totalLength": "1", "completedLength": "1",
         "downloadSpeed": "0"}}])",
     1, false, -1},
    {"zel_download_task_pause", [] { return zel_download_task_pause(kId); }, "6800",
     R"([{"result": "2089b05ecca3d829"}])", 1, true, -1}};

// So much of an answer has been sent. What has begun to come is not asked for again.
const struct Stage {
  const char* name;
  size_t sent;
  bool begun;
} kStages[] = {{"before its answer", 0, false}, {"in its head", 12, false}, {"in its body", 50, true}};

// The answers to two calls and more, the nth being that one.
std::vector<Answer> with(const Answer& odd, int nth, const Answer& others) {
  std::vector<Answer> answers(static_cast<size_t>(nth), others);
  answers.push_back(odd);
  answers.push_back(others);
  return answers;
}

}  // namespace

TEST(Daemons, AreGivenTheirTimeAndNoMoreAtAnyStage) {
  for (const Call& c : kCalls) {
    EXPECT_EQ(c.call(), c.in_vain) << c.name << ", and nobody there";
    const Answer whole = {answer("200 OK", c.body)};
    for (const Stage& stage : kStages) {
      for (int request = 0; request < c.requests; ++request) {
        const std::string where = std::string(c.name) + ", " + std::to_string(request) + ", " + stage.name;
        const size_t piece = stage.sent != 0 ? stage.sent : whole.bytes.size();
        {
          const Server stopped(with({whole.bytes, End::kKeep, 20ms, piece}, request, whole), nullptr, c.port);
          EXPECT_EQ(c.call(), 0) << where << ", stopped";
        }
        const Server ended(with({whole.bytes.substr(0, stage.sent), End::kClose}, request, whole), nullptr,
                           c.port);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(c.call(), c.asks_twice && !stage.begun ? 0 : c.in_vain) << where << ", ended";
        EXPECT_LT(std::chrono::steady_clock::now() - start, 5s) << where;
        EXPECT_EQ(c.call(), 0) << where << ", started again";
      }
    }
  }
}
