// The box's router when it is told to misbehave.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/router.h"

namespace {

using nlohmann::json;
using std::chrono::milliseconds;
using test::ask_router;
using test::HttpReply;

constexpr const char* kMethod = "query_router_info";

json header_of(const HttpReply& reply) {
  const json answer = json::parse(reply.body, nullptr, false);
  return answer.is_object() ? answer.value("ResponseHeader", json()) : json();
}

TEST(BoxRouter, PlaysEachKindOfFaultOnce) {
  static const struct {
    const char* fault;
    bool (*seen)(const HttpReply& reply);
  } kCases[] = {
      {R"("kind": "delay", "ms": 300)",
       [](const HttpReply& r) { return r.took >= milliseconds(300) && header_of(r).at("ErrorCode") == 0; }},
      {R"("kind": "hang", "ms": 200)",
       [](const HttpReply& r) { return r.took >= milliseconds(200) && r.status == 504; }},
      {R"("kind": "cut")",
       [](const HttpReply& r) { return !r.whole && r.body == "{\"ResponseHeader\":{\""; }},
      {R"("kind": "garbage")",
       [](const HttpReply& r) { return r.whole && json::parse(r.body, nullptr, false).is_discarded(); }},
      {R"("kind": "types")",
       [](const HttpReply& r) {
         return header_of(r).at("ErrorCode") == 0 && json::parse(r.body).at("Info").at("Company") == 4;
       }},
      {R"("kind": "error", "code": -7, "text": "100%s")",
       [](const HttpReply& r) {
         return r.status == 200 && header_of(r) == json({{"ErrorCode", -7}, {"ErrorMsg", "100%s"}});
       }},
      {R"("kind": "oversize")",
       [](const HttpReply& r) { return r.body.size() > 20000 && header_of(r).at("ErrorCode") == 0; }},
      {R"("kind": "http500")", [](const HttpReply& r) { return r.status == 500 && header_of(r).is_null(); }},
      {R"("kind": "trickle", "ms": 2)",
       [](const HttpReply& r) {
         return r.took >= milliseconds(2 * r.body.size()) && r.pieces > 10 &&
                header_of(r).at("ErrorCode") == 0;
       }},
  };
  const std::string faultless = ask_router(kMethod).body;
  for (const auto& c : kCases) {
    const std::string fault = std::string(R"({"method": "query_router_info", "count": 1, )") + c.fault + "}";
    test::set_router_fault(fault);
    EXPECT_NE(faultless, ask_router("query_disk_info").body);
    HttpReply reply;
    ASSERT_NO_THROW(reply = ask_router(kMethod)) << fault;
    EXPECT_TRUE(c.seen(reply)) << fault << reply.status << reply.body;
    EXPECT_EQ(faultless, ask_router(kMethod).body) << fault;
  }
}

TEST(BoxRouter, PlaysFaultsInTheirOrderForAsLongAsTheyLast) {
  test::set_router_fault(R"({"method": "query_router_info", "kind": "error", "code": 1, "count": 2})");
  test::set_router_fault(R"({"method": "*", "kind": "error", "code": 2})");
  for (const int code : {1, 1, 2, 2}) EXPECT_EQ(code, header_of(ask_router(kMethod)).at("ErrorCode"));
  EXPECT_NE(std::string::npos, test::router_log().find("\tquery_router_info\t-\t2\terror\n"));
  test::http("DELETE", "/box/fault");
  EXPECT_EQ(0, header_of(ask_router(kMethod)).at("ErrorCode"));
}

TEST(BoxRouter, CarriesASettingOutUnlessTheFaultStandsInItsPlace) {
  for (const std::string kind : {"error", "cut"}) {
    test::set_router_fault(R"({"method": "set_router_wan", "count": 1, "kind": ")" + kind + "\"}");
    ask_router("set_router_wan&wan_param_type=1&wan_param_pppoe_pwd=p&wan_param_pppoe_name=for-" + kind);
    const std::string status = ask_router("query_router_wan_status").body;
    EXPECT_EQ(kind == "cut", status.find("for-" + kind) != std::string::npos) << kind;
  }
}

TEST(BoxRouter, RefusesAFaultItDoesNotUnderstand) {
  static const char* const kWrong[] = {
      R"({"method": "*", "kind": "sleepy"})",          R"({"kind": "cut"})",
      R"({"method": "*", "kind": "cut", "ms": 5})",    R"({"method": "*", "kind": "cut", "bytes": "5"})",
      R"({"method": "*", "kind": "cut", "count": 0})", "{",
  };
  for (const char* fault : kWrong) {
    const HttpReply reply = test::http("POST", "/box/fault", fault);
    EXPECT_EQ(400, reply.status) << fault;
    EXPECT_NE("", reply.body) << fault;
  }
  EXPECT_EQ("[]", test::http("GET", "/box/fault").body);
}

}  // namespace
