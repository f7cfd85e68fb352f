// The box's router as a well-behaved client finds it. Every case has a box and a router of its own.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

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

}  // namespace
