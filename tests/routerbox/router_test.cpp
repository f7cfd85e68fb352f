// The box's router as a well-behaved client finds it. Every case has a box and a router of its own.
#include <gtest/gtest.h>

#include <fstream>
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

int code(const std::string& method) {
  return answer(method).at("ResponseHeader").at("ErrorCode");
}

json state() {
  return json::parse(test::http("GET", "/box/state").body, nullptr, false);
}

TEST(BoxRouter, AnswersEveryMethodWithItsMembersAndTheirTypes) {
  static const struct {
    const char* method;
    const char* member;
    json value;
  } kCases[] = {
      {"query_router_wifi_info", "/WIFIStatus/0/WIFI_SSID", "Home"},
      {"query_router_wifi_info", "/WIFIStatus/0/WIFI_WirelessFrequency", "2.4"},
      {"query_router_wifi_info", "/WIFIStatus/1/WIFI_WirelessFrequency", "5"},
      {"query_router_wifi_info", "/WIFIStatus/1/WIFI_Status", 1},
      {"query_wan_transmission_rate", "/TransmissionRate/InstanDownloadRate", "1250"},
      {"query_wan_transmission_rate", "/TransmissionRate/PeakUploadRate", "1900"},
      {"query_router_wan_status", "/WAN_NET", 1},
      {"query_router_wan_status", "/WAN_TYPE", 0},
      {"query_router_wan_status", "/WAN_Type", 0},
      {"query_router_wan_status", "/WAN_PPPoE_Name", "user@isp.example"},
      {"query_router_wan_status", "/WAN_PPPoE_DNS1", "192.0.2.53"},
      {"query_router_wan_status", "/WAN_STATIC_Subnet", "255.255.255.0"},
      {"query_disk_info", "/DiskInfo/Count", 2},
      {"query_disk_info",
       "/DiskInfo/List/0",
       {{"Partition", "sda1"}, {"Used", "1048576"}, {"Available", "3145728"}}},
      {"query_router_info",
       "/Info",
       {{"FirmwareVersion", "1.4.2"}, {"Company", "ACME"}, {"HardwareVersion", "R1"}}},
  };
  for (const auto& c : kCases) {
    const json whole = answer(c.method);
    EXPECT_EQ(json({{"ErrorCode", 0}, {"ErrorMsg", ""}}), whole.at("ResponseHeader")) << c.method;
    EXPECT_EQ(c.value, whole.at(json::json_pointer(c.member))) << c.method << c.member;
  }
  test::change_router_state(R"({"DiskInfo": [], "WAN": {"WAN_IP": null}})");
  EXPECT_EQ(json({{"Count", 0}}), answer("query_disk_info").at("DiskInfo"));
  EXPECT_FALSE(answer("query_router_wan_status").contains("WAN_IP"));
}

TEST(BoxRouter, ReportsWhatWasSetAndDropsManualDnsThatIsNotSetAgain) {
  static const struct {
    const char* parameters;
    json reported;
  } kCases[] = {
      {"1&wan_param_pppoe_name=a&wan_param_pppoe_pwd=b&wan_param_pppoe_dns1=9.9.9.9&wan_param_pppoe_dns2=1.1."
       "1.1",
       {{"WAN_Type", 0},
        {"WAN_PPPoE_Name", "a"},
        {"WAN_PPPoE_DNS1", "9.9.9.9"},
        {"WAN_PPPoE_DNS2", "1.1.1.1"}}},
      // Nothing is escaped, so every character but '&' is the value's own.
      {"1&wan_param_pppoe_name=a%41%zz+=?/b&wan_param_pppoe_pwd=?\"<>|\xc3\xa9",
       {{"WAN_PPPoE_Name", "a%41%zz+=?/b"}, {"WAN_PPPoE_PWD", "?\"<>|\xc3\xa9"}, {"WAN_PPPoE_DNS1", ""}}},
      {"2&wan_param_static_ip=10.0.0.2&wan_param_static_subnet=255.0.0.0&wan_param_static_gateway=10.0.0.1"
       "&wan_param_static_dns1=255.255.255.255&wan_param_static_dns2=",
       {{"WAN_Type", 2}, {"WAN_TYPE", 2}, {"WAN_IP", "10.0.0.2"}, {"WAN_STATIC_DNS1", "255.255.255.255"}}},
      {"2&wan_param_static_gateway=10.0.0.9&wan_param_static_ip=10.0.0.2&wan_param_static_subnet=255.0.0.0",
       {{"WAN_STATIC_Gateway", "10.0.0.9"}, {"WAN_STATIC_DNS1", ""}, {"WAN_PPPoE_Name", "a%41%zz+=?/b"}}},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(0, code(std::string("set_router_wan&wan_param_type=") + c.parameters)) << c.parameters;
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
      {"empty method", "", 101},
      {"a method in other letters", "Query_disk_info", 101},
      {"a parameter without value", "query_disk_info&x", 102},
      {"a parameter without name", kPppoe + "&=1", 102},
      {"a query has no parameters", "query_router_info&x=1", 103},
      {"a parameter of the other type", kPppoe + kIp, 103},
      {"a misspelt parameter", kPppoe + "&wan_param_pppoe_dns=9.9.9.9", 103},
      {"a parameter twice", kPppoe + kName, 104},
      {"no type", "set_router_wan" + kName + kWord, 105},
      {"no name", kSet + "1" + kWord, 105},
      {"no password", kSet + "1" + kName, 105},
      {"no mask", kStatic + kIp, 105},
      {"one DNS parameter without the other", kPppoe + "&wan_param_pppoe_dns1=9.9.9.9", 105},
      {"a type that can be read but not set", kSet + "0" + kName + kWord, 106},
      {"an unknown type", kSet + "3" + kName + kWord, 106},
      {"an empty name", kSet + "1&wan_param_pppoe_name=" + kWord, 106},
      {"bytes that are no text", kSet + "1&wan_param_pppoe_name=\xff" + kWord, 106},
      {"an address with three parts", kStatic + kMask + "&wan_param_static_ip=10.0.2", 106},
      {"an address out of range", kStatic + kMask + "&wan_param_static_ip=10.0.0.256", 106},
      {"an empty address", kStatic + kMask + "&wan_param_static_ip=", 106},
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
  EXPECT_EQ(101, json::parse(test::http("GET", "/api?x=1&method=query_disk_info").body)
                     .at("ResponseHeader")
                     .at("ErrorCode"))
      << "the method comes first";
  EXPECT_EQ(404, test::http("GET", "/apis?method=query_disk_info").status);
  EXPECT_EQ(404, test::http("POST", "/api?method=query_disk_info").status);
  EXPECT_EQ(400, ask_router("a blank").status);
}

TEST(BoxRouter, LogsEveryRequestBeforeItsAnswer) {
  static const struct {
    const char* method;
    const char* line;  // without its time
  } kCases[] = {
      {"query_disk_info", "\tquery_disk_info\t-\t0\t-\n"},
      {"set_router_wan&wan_param_type=7&a=%?b", "\tset_router_wan\twan_param_type=7&a=%?b\t106\t-\n"},
      {"tab\there&a=\x01", "\ttab?here\ta=?\t101\t-\n"},
  };
  for (const auto& c : kCases) {
    const size_t before = test::router_log().size();
    ask_router(c.method);
    const std::string line = test::router_log().substr(before);
    EXPECT_EQ(c.line, line.substr(line.find('\t'))) << line;
  }
  test::http("GET", "/other");
  EXPECT_NE(std::string::npos, test::router_log().find("\tGET /other\t-\tHTTP 404\t-\n"));
}

TEST(BoxRouter, KeepsItsStateInItsFile) {
  test::change_router_state(R"({"Info": {"Company": "Other"}})");
  std::ifstream file("/var/run/router/state.json");
  EXPECT_EQ(state(), json::parse(file, nullptr, false));
  EXPECT_EQ(400, test::http("PATCH", "/box/state", R"({"WAN": null})").status);
  EXPECT_EQ(400, test::http("PATCH", "/box/state", R"({"Wan": {}})").status);
  EXPECT_EQ(400, test::http("PATCH", "/box/state", "{").status);
  EXPECT_EQ("Other", answer("query_router_info").at("Info").at("Company"));

  const Outcome second = run(TEST_BIN "/boxrouter --port 14000");
  EXPECT_EQ(1, second.status);
  EXPECT_NE(std::string::npos, second.output.find("is another router running there?")) << second.output;
}

TEST(BoxRouter, GivesTheBoxABlkidThatKnowsItsPartitions) {
  static const struct {
    const char* why;
    const char* line;
    int status;
    const char* output;
  } kCases[] = {
      {"a partition of the router", "blkid -s UUID -o value /dev/sdz1", 0, "1-2-3\n"},
      {"one without UUID", "blkid -s UUID -o value /dev/sdz2", 2, ""},
      {"none of the router's", "blkid -s UUID -o value /dev/sdz3", 2, ""},
      {"a device of the host is the real blkid's", "blkid -s UUID -o value /dev/null", 2, ""},
      {"another question", "blkid -o value /dev/sdz1 2>/dev/null", 4, ""},
  };
  test::change_router_state(
      R"({"DiskInfo": [5, {"Partition": "sdz1", "UUID": "1-2-3"}, {"Partition": "sdz2", "UUID": 7},
                       {"Partition": "null", "UUID": "4-5-6"}]})");
  for (const auto& c : kCases) {
    const Outcome outcome = run(c.line);
    EXPECT_EQ(c.status, outcome.status) << c.why;
    EXPECT_EQ(c.output, outcome.output) << c.why;
  }
}

}  // namespace
