// Reading, setting and resetting the DNS servers: what is sent, and what comes of the answers.
#include <gtest/gtest.h>
#include <zel/router.h>

#include <string>
#include <thread>
#include <vector>

#include "router/router.h"
#include "support/captured.h"

namespace {

const std::string kRead = "query_router_wan_status";
const std::string kPppoe =
    good(R"("WAN_TYPE":2,"WAN_Type":0,"WAN_PPPoE_DNS1":"1.1.1.1","WAN_PPPoE_DNS2":"2.2.2.2",)"
         R"("WAN_PPPoE_Name":"user","WAN_PPPoE_PWD":"pass")");
const std::string kStatic =
    good(R"("WAN_Type":9,"WAN_STATIC_DNS1":"3.3.3.3","WAN_STATIC_DNS2":"","WAN_STATIC_IP":"10.0.0.2",)"
         R"("WAN_STATIC_Subnet":"255.0.0.0","WAN_STATIC_Gateway":"10.0.0.1")");
const std::string kDone = good("");
const std::string kBusy = R"({"ResponseHeader":{"ErrorCode":5,"ErrorMsg":"busy"}})";

std::string with(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

}  // namespace

TEST(Dns, IsReadForPppoeAndStaticConnections) {
  const struct {
    std::string answer;
    int result;
    std::string dns1, dns2;  // "-" is what stood there before
    std::string says;
  } kCases[] = {
      {kPppoe, 0, "1.1.1.1", "2.2.2.2", ""},
      {kStatic, 0, "3.3.3.3", "", ""},
      {with(kPppoe, "1.1.1.1", std::string(40, '1')), 0, std::string(32, '1'), "2.2.2.2", ""},
      {with(kPppoe, "PPPoE_PWD", "x"), -2, "1.1.1.1", "2.2.2.2", "ERROR: WAN_PPPoE_PWD j_tmp == NULL\n"},
      {with(kStatic, "STATIC_DNS2", "x"), -2, "3.3.3.3", "-", "ERROR: WAN_STATIC_DNS2 j_tmp == NULL\n"},
      {with(kStatic, "WAN_Type", "WAN_TYPE"), -2, "-", "-", "ERROR: WAN_Type j_tmp == NULL\n"},
      {kDone, -2, "-", "-", "ERROR: WAN_Type j_tmp == NULL\n"},
      {with(kStatic, ":9", ":1"), -3, "-", "-", "=query_router_wan_status]\n"},
      {kBusy, -2, "-", "-",
       "[vendor_get_router_dns][vendor_get_router_dns]res parse FAIL or error_code nonzero!\n"},
      {"{", -2, "-", "-", "[vendor_get_router_dns][vendor_get_router_dns]HttpGet res[{] parse FAIL!\n"},
      {"", -2, "-", "-", "excute FAIL! req_url[http://127.0.0.1:14000/api?method=query_router_wan_status]\n"},
  };
  for (const auto& c : kCases) {
    const Router router({c.answer});
    char dns[2][ZEL_DNS_SIZE] = {"-", "-"};
    const std::string output =
        captured(stdout, [&] { EXPECT_EQ(zel_get_router_dns(dns[0], dns[1]), c.result) << c.answer; });
    EXPECT_EQ(dns[0], c.dns1) << c.answer;
    EXPECT_EQ(dns[1], c.dns2) << c.answer;
    EXPECT_TRUE(output.ends_with(c.says)) << output;
    EXPECT_EQ(router.methods(), std::vector<std::string>(c.answer.empty() ? 2 : 1, kRead)) << "tries";
  }
}

TEST(Dns, IsChangedBySendingAllSettingsBack) {
  const std::string pppoe =
      "set_router_wan&wan_param_type=1&wan_param_pppoe_name=user&wan_param_pppoe_pwd=pass";
  const std::string fixed =
      "set_router_wan&wan_param_type=2&wan_param_static_ip=10.0.0.2&wan_param_static_subnet=255.0.0.0"
      "&wan_param_static_gateway=10.0.0.1";
  const std::string pppoe_dns = "&wan_param_pppoe_dns1=8.8.8.8&wan_param_pppoe_dns2=";
  const std::string static_dns = "&wan_param_static_dns1=8.8.8.8&wan_param_static_dns2=";
  const std::string endless(400, '9');
  const struct {
    const char* why;
    std::vector<std::string> answers;
    const char* dns2;  // null resets
    int result;
    std::vector<std::string> sent;
  } kCases[] = {
      {"set", {kPppoe, kDone}, "9.9.9.9", 0, {pppoe + pppoe_dns + "9.9.9.9"}},
      {"set", {kStatic, kDone}, "", 0, {fixed + static_dns}},
      {"cut", {kPppoe, kDone}, endless.c_str(), 0, {(pppoe + pppoe_dns + endless).substr(0, 255)}},
      {"reset", {kPppoe, kDone}, nullptr, 0, {pppoe}},
      {"reset", {kStatic, kDone}, nullptr, 0, {fixed}},
      {"set fails", {kPppoe, kBusy}, "", -2, {pppoe + pppoe_dns}},
      {"reset fails", {kPppoe, kBusy}, nullptr, -2, {pppoe}},
      {"set does not arrive", {kPppoe, ""}, "", -2, {pppoe + pppoe_dns, pppoe + pppoe_dns}},
      {"reset does not arrive", {kPppoe, ""}, nullptr, -1, {pppoe, pppoe}},
      {"a setting no URL can carry", {with(kPppoe, "pass", "p#w")}, "", -2, {}},
      {"the same", {with(kStatic, "10.0.0.2", "#")}, nullptr, -1, {}},
      {"the same", {with(kStatic, "10.0.0.2", " ")}, nullptr, -1, {}},
      {"no account", {with(kPppoe, "user", "")}, "", -4, {}},
      {"no address", {with(kStatic, "10.0.0.2", "")}, nullptr, -4, {}},
      {"another type", {with(kStatic, ":9", ":1")}, "", -3, {}},
  };
  for (const auto& c : kCases) {
    const Router router(c.answers);
    const std::string output = captured(stdout, [&] {
      EXPECT_EQ(c.dns2 != nullptr ? zel_set_router_dns("8.8.8.8", c.dns2) : zel_reset_router_dns(), c.result);
    });
    std::vector<std::string> expected = {kRead};
    expected.insert(expected.end(), c.sent.begin(), c.sent.end());
    EXPECT_EQ(router.methods(), expected) << c.why;
    EXPECT_EQ(output.find("busy]"), std::string::npos) << "the router's text is not shown here";
    if (c.result == -3) {
      EXPECT_TRUE(output.ends_with(
          "[vendor_set_router_dns][vendor_set_router_dns]vendor_get_router_dns error errcode=-3!\n"));
    }
  }
}

TEST(Dns, CallsThatComeTogetherDoNotMixTheirExchanges) {
  std::vector<std::string> answers;
  for (int i = 0; i < 8; ++i) answers.insert(answers.end(), {i % 2 != 0 ? kStatic : kPppoe, kDone});
  const Router router(answers);
  captured(stdout, [] {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 8; ++i) threads.emplace_back([] { EXPECT_EQ(zel_reset_router_dns(), 0); });
  });
  const std::vector<std::string> methods = router.methods();
  ASSERT_EQ(methods.size(), 16U);
  for (size_t i = 0; i < 16; i += 2) {
    EXPECT_EQ(methods[i], kRead);
    EXPECT_NE(methods[i + 1].find(i % 4 == 0 ? "pppoe_name=user" : "static_ip=10.0.0.2"), std::string::npos);
  }
}

TEST(Dns, TextsAreCheckedBeforeAnythingIsSent) {
  const Router router({kPppoe, kDone});
  char dns[ZEL_DNS_SIZE];
  EXPECT_EQ(zel_get_router_dns(nullptr, dns), -1);
  EXPECT_EQ(zel_get_router_dns(dns, nullptr), -1);
  EXPECT_EQ(zel_set_router_dns("1", nullptr), -1);
  EXPECT_EQ(zel_set_router_dns(nullptr, "1"), -1);
  EXPECT_EQ(zel_set_router_dns("255.255.255.2555", "1"), -1);
  for (const char* text : {"9.9 .9.9", "9.9.9.9\n", "9.9.9.9#", "\x7f", "\x01"}) {
    EXPECT_EQ(zel_set_router_dns(text, "1"), -2) << text;
    EXPECT_EQ(zel_set_router_dns("1", text), -2) << text;
  }
  EXPECT_TRUE(router.methods().empty());
  captured(stdout, [] { EXPECT_EQ(zel_set_router_dns("255.255.255.255", std::string(40, '1').c_str()), 0); });
}
