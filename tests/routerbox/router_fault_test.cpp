// The box's router when it is told to misbehave.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "support/router.h"

namespace {

using nlohmann::json;
using test::ask_router;
using test::HttpReply;

constexpr const char* kMethod = "query_router_info";

json header_of(const HttpReply& reply) {
  const json answer = json::parse(reply.body, nullptr, false);
  return answer.is_object() ? answer.value("ResponseHeader", json()) : json();
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

}  // namespace
