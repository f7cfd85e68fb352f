// The box's router as a well-behaved client finds it. Every case has a box and a router of its own.
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "run.h"
#include "support/router.h"

namespace {

using nlohmann::json;
using test::ask_router;

json answer(const std::string& method) {
  const test::HttpReply reply = ask_router(method);
  EXPECT_EQ(200, reply.status) << method;
  EXPECT_TRUE(reply.whole) << method;
  return json::parse(reply.body, nullptr, false);
}

json state() {
  return json::parse(test::http("GET", "/box/state").body, nullptr, false);
}

TEST(BoxRouter, ReportsWhatWasSetAndDropsManualDnsThatIsNotSetAgain) {
  static const struct {
    const char* parameters;
    json reported;
  } kCases[] = {
      {"1&wan_param_pppoe_name=a&wan_param_pppoe_pwd=b&wan_param_pppoe_dns1=9.9.9.9&wan_param_pppoe_dns2=1.1."
       "1.1",
       {{"WAN_Type", 0}, {"WAN_PPPoE_Name", "a"}, {"WAN_PPPoE_DNS2", "1.1.1.1"}}},
      // Nothing is escaped, so every character but '&' is the value's own.
      {"1&wan_param_pppoe_name=a%41%zz+=?/b&wan_param_pppoe_pwd=?\"<>|\xc3\xa9",
       {{"WAN_PPPoE_Name", "a%41%zz+=?/b"}, {"WAN_PPPoE_PWD", "?\"<>|\xc3\xa9"}, {"WAN_PPPoE_DNS1", ""}}},
      {"2&wan_param_static_ip=10.0.0.2&wan_param_static_subnet=255.0.0.0&wan_param_static_gateway=10.0.0.1"
       "&wan_param_static_dns1=255.255.255.255&wan_param_static_dns2=",
       {{"WAN_Type", 2}, {"WAN_TYPE", 2}, {"WAN_IP", "10.0.0.2"}, {"WAN_STATIC_DNS1", "255.255.255.255"}}},
  };
  for (const auto& c : kCases) {
    answer(std::string("set_router_wan&wan_param_type=") + c.parameters);
    const json reported = answer("query_router_wan_status");
    for (const auto& [member, value] : c.reported.items())
      EXPECT_EQ(value, reported.value(member, json())) << c.parameters << ": " << member;
  }
}

TEST(BoxRouter, RefusesWhatARouterWouldAndChangesNothing) {
  static const std::string kName = "&wan_param_pppoe_name=n", kWord = "&wan_param_pppoe_pwd=p";
  static const std::string kSet = "set_router_wan&wan_param_type=", kPppoe = kSet + "1" + kName + kWord;
  static const std::string kStatic = kSet + "2&wan_param_static_gateway=10.0.0.1";
  static const std::string kIp = "&wan_param_static_ip=10.0.0.2",
                           kMask = "&wan_param_static_subnet=255.0.0.0";
  static const struct {
    const char* why;
    std::string method;
    int code;
  } kCases[] = {
      {"no such method", "query_nothing", 101},
      {"a parameter without value", "query_disk_info&x", 102},
      {"a query has no parameters", "query_router_info&x=1", 103},
      {"a parameter of the other type", kPppoe + kIp, 103},
      {"a parameter twice", kPppoe + kName, 104},
      {"no type", "set_router_wan" + kName + kWord, 105},
      {"no password", kSet + "1" + kName, 105},
      {"no mask", kStatic + kIp, 105},
      {"one DNS parameter without the other", kPppoe + "&wan_param_pppoe_dns1=9.9.9.9", 105},
      {"a type that can be read but not set", kSet + "0" + kName + kWord, 106},
      {"an empty name", kSet + "1&wan_param_pppoe_name=" + kWord, 106},
      {"bytes that are no text", kSet + "1&wan_param_pppoe_name=\xff" + kWord, 106},
      {"an address out of range", kStatic + kMask + "&wan_param_static_ip=10.0.0.256", 106},
      {"a mask with a hole", kStatic + kIp + "&wan_param_static_subnet=255.0.255.0", 106},
      {"a DNS server by name", kPppoe + "&wan_param_pppoe_dns1=dns.example&wan_param_pppoe_dns2=", 106},
  };
  const json before = state();
  for (const auto& c : kCases) {
    const json header = answer(c.method).at("ResponseHeader");
    EXPECT_EQ(c.code, header.at("ErrorCode")) << c.why << ": " << header;
    EXPECT_NE("", header.at("ErrorMsg")) << c.why;
  }
  EXPECT_EQ(before, state());
}

TEST(BoxRouter, LogsEveryRequestBeforeItsAnswer) {
  ask_router("tab\there&a=\x01");
  const std::string line = test::router_log();
  EXPECT_EQ("\ttab?here\ta=?\t101\t-\n", line.substr(line.find('\t')));
  test::http("GET", "/other");
  EXPECT_NE(std::string::npos, test::router_log().find("\tGET /other\t-\tHTTP 404\t-\n"));
}

TEST(BoxRouter, SaysWhichEventsAChangeIsWorth) {
  static const struct {
    const char* method;
    const char* path;
    const char* body;
    int status;
    const char* answer;
  } kCases[] = {
      {"POST", "/box/wan", R"({"up": true})", 200, R"({"events":[]})"},
      {"POST", "/box/wan", R"({"up": false})", 200, R"([{"event":1,"subevent":257,"data":"down"}])"},
      {"PATCH", "/box/state", R"({"WAN": {"WAN_LINE": 0}})", 200, R"({"events":[]})"},
      {"POST", "/box/wan", R"({"up": true})", 200, R"([{"event":1,"subevent":256,"data":"up"}])"},
      {"POST", "/box/disk", R"({"add": "sdb1"})", 200, R"([{"event":0,"subevent":0,"data":"sdb1"}])"},
      {"POST", "/box/disk", R"({"add": "sdb1"})", 400, "there is a partition sdb1 already"},
      {"POST", "/box/disk", R"({"remove": "sda1"})", 200, R"([{"event":0,"subevent":1,"data":"sda1"}])"},
      {"POST", "/box/disk", R"({"remove": "sdb"})", 400, "did you mean sdb1"},
      {"POST", "/box/disk", R"({"add": "../x"})", 400, "no partition's name"},
      {"POST", "/box/set", R"({"path": "WIFIStatus.0.WIFI_SSID", "value": "Guest"})", 200,
       R"("subevent":512)"},
      {"POST", "/box/set", R"({"path": "WAN.WAN_NET", "value": "0"})", 200, R"("subevent":257)"},
      {"POST", "/box/set", R"({"path": "WAN.WAN_NET", "value": "off"})", 400, "WAN.WAN_NET is a number"},
      {"POST", "/box/set", R"({"path": "WAN.WAN_NTE", "value": 1})", 400, "did you mean WAN_NET"},
      {"POST", "/box/set", R"({"value": 1})", 400, "this takes {\"path\""},
      {"PATCH", "/box/state", R"({"Wan": {}})", 400, "did you mean WAN?"},
  };
  for (const auto& c : kCases) {
    const test::HttpReply reply = test::http(c.method, c.path, c.body);
    EXPECT_EQ(c.status, reply.status) << c.path << c.body << reply.body;
    EXPECT_NE(std::string::npos, reply.body.find(c.answer)) << c.path << c.body << reply.body;
  }
  EXPECT_EQ(0, state()["WAN"]["WAN_NET"]);
}

TEST(BoxRouter, TakesFaultsAsPeopleWriteThemAndCountsThem) {
  static const struct {
    const char* method;
    const char* kind;
    const char* count;
    const char* refusal;
  } kCases[] = {
      {"query_router_info", "http500:503", "once", ""},
      {"query_router_info", "error:7:busy: later", "2", ""},
      {"*", "delay:2.5s", "once", ""},
      {"query_disk_infos", "delay", "once", "did you mean query_disk_info?"},
      {"*", "dely", "once", "did you mean delay?"},
      {"*", "delay:soon", "once", "'soon' in delay:soon is no time"},
      {"*", "delay:2h", "once", "'2h' in delay:2h is no time"},
      {"*", "cut:1:2", "once", "takes one value"},
      {"*", "types:1", "once", "takes no value"},
      {"*", "cut", "never", "\"once\" or a whole number"},
      {"*", "cut", "0", "from 1 to"},
  };
  for (const auto& c : kCases) {
    const json fault = {{"method", c.method}, {"kind", c.kind}, {"count", c.count}};
    const test::HttpReply reply = test::http("POST", "/box/fault", fault.dump());
    EXPECT_EQ(*c.refusal == '\0' ? 200 : 400, reply.status) << c.kind << reply.body;
    EXPECT_NE(std::string::npos, reply.body.find(c.refusal)) << c.kind << reply.body;
  }
  EXPECT_EQ(503, ask_router("query_router_info").status);
  EXPECT_EQ("busy: later", answer("query_router_info")["ResponseHeader"]["ErrorMsg"]);
  const json faults = json::parse(test::http("GET", "/box/fault").body);
  ASSERT_EQ(3U, faults.size());
  const json expected[] = {{1, 1}, {2, 1}, {1, 0}};
  for (size_t i = 0; i < faults.size(); ++i)
    EXPECT_EQ(expected[i], (json{faults[i]["count"], faults[i]["played"]})) << faults[i];
  EXPECT_EQ(2500, faults[2]["ms"]);
}

// With fewer threads than clients it would answer once it has given up one of them, after seconds. So may a machine
// under load, but not time after time.
TEST(BoxRouter, AnswersWhileHundredsOfOthersAreUnfinished) {
  bool before_their_end = false;
  for (int tries = 0; tries < 3 && !before_their_end; ++tries) {
    std::vector<zel::Descriptor> unfinished;
    for (int i = 0; i < 700; ++i) unfinished.push_back(test::dial(14000));
    for (int i = 0; i < 200; ++i)
      ASSERT_EQ(9, send(unfinished[static_cast<size_t>(i)].get(), "GET /api?", 9, MSG_NOSIGNAL));
    answer("query_router_info");
    before_their_end = std::all_of(unfinished.begin(), unfinished.end(), [](const zel::Descriptor& each) {
      char byte;
      return recv(each.get(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) == -1;
    });
  }
  EXPECT_TRUE(before_their_end);
}

TEST(BoxRouter, RefusesBodiesThatAreTooLong) {
  const std::string long_body(3'000'000, 'x');
  static const struct {
    const char* method;
    const char* path;
  } kCases[] = {{"PATCH", "/box/state"}, {"POST", "/box/fault"}, {"POST", "/api"}, {"PUT", "/nothing"}};
  for (const auto& c : kCases) {
    EXPECT_EQ(413, test::http(c.method, c.path, long_body).status) << c.path;
    const std::string chunk = "2dc6c0\r\n" + long_body + "\r\n0\r\n\r\n";
    EXPECT_EQ(413, test::http(c.method, c.path, chunk, 14000, "Transfer-Encoding: chunked\r\n").status)
        << c.path;
  }
}

TEST(BoxRouter, BelongsToTheBoxsOwnerAndNotToPlugins) {
  static const struct {
    const char* method;
    const char* path;
    const char* body;
    int status;
  } kCases[] = {
      {"GET", "/api?method=query_router_info", "", 200},
      {"GET", "/box/state", "", 403},
      {"PATCH", "/box/state", R"({"WAN": {"WAN_NET": 0}})", 403},
      {"POST", "/box/wan", R"({"up": false})", 403},
      {"POST", "/%62ox/disk", R"({"add": "sdb1"})", 403},
      {"POST", "/box/set", R"({"path": "WAN.WAN_NET", "value": 0})", 403},
      {"DELETE", "/box/fault", "", 403},
  };
  ASSERT_EQ(0, setuid(10001));  // See packages.json.
  for (const auto& c : kCases) EXPECT_EQ(c.status, test::http(c.method, c.path, c.body).status) << c.path;
}

TEST(BoxRouter, LaysTheStateItIsGivenOverTheBuiltInOne) {
  const HostFolder folder;
  static const struct {
    const char* state;
    const char* question;
    const char* output;
  } kCases[] = {
      {R"({"DaemonShell": {"mine": "yes"}})", "mine", "yes\n"},
      {R"({"DaemonShell": {"mine": "yes"}})", "getsign", "5f2c9e0b7a\n"},
      {R"({"DaemonShell": {"getsign": null}})", "getsign", "knows no \"getsign\""},
      {R"({"WAN": null})", "getsign", "needs an object \"WAN\""},
      {"{\n\"WAN\": ,}", "getsign", "parse error at line 2"},
  };
  for (const auto& c : kCases) {
    const Outcome outcome =
        run(TEST_BIN "/boxrouter --state " + folder.file("state.json", c.state) + " --daemon " + c.question);
    EXPECT_NE(std::string::npos, outcome.output.find(c.output)) << c.state << outcome.output;
  }
}

}  // namespace
