// What zel.hpp adds to the C calls. Runs as root of a box, which is the plug-in "1": all abilities but 2.
#include <gtest/gtest.h>
#include <zel/zel.hpp>

#include <memory>
#include <stdexcept>

#include "support/captured.h"

namespace {

// As the service thread does when an event has come.
void deliver(int32_t subevent, const char* data) {
  zel_event_cb[ZEL_EVENT_WAN](subevent, data);
}

TEST(CxxErrors, SayWhatTheHeadersSay) {
  const std::pair<const char*, zel::error> cases[] = {
      {"perm_check: the ability is not granted to this appid (7016)",
       zel::perm::check(ability_cloud_communication, "1").error()},
      {"zel_download_task_create: no file name was given (8001)",
       zel::download::create("http://127.0.0.1/a", "/tmp", "").error()},
      {"zel_cloud_msg_handler_register: failed (-1)",
       zel::cloud::serve([](std::string_view) { return "never"; }).error()},
      {"zel_cloud_msg_send: failed (-1)", zel::cloud::send("4711", "Anybody home?").error()},
      {"zel_event_subscribe: failed (-1)",
       zel::event::subscribe(static_cast<zel_event>(3), [](int32_t, std::string_view) {}).error()},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(error.text(), text);
}

TEST(CxxHandlers, MayHoldWhatCannotBeCopied) {
  int sum = 0;
  auto subscribed = zel::event::subscribe(
      ZEL_EVENT_WAN, [kept = std::make_unique<int>(1), &sum](int32_t subevent, std::string_view data) {
        sum += *kept + subevent + static_cast<int>(data.size());
      });
  ASSERT_TRUE(subscribed.has_value());
  deliver(256, "ab");
  EXPECT_EQ(sum, 259);
  deliver(257, nullptr);
  EXPECT_EQ(sum, 517);
}

TEST(CxxHandlers, MayPutAnotherInTheirPlace) {
  std::string seen;
  const auto subscribed = zel::event::subscribe(
      ZEL_EVENT_WAN, [&seen, state = std::make_unique<std::string>("first")](int32_t, std::string_view) {
        EXPECT_TRUE(zel::event::subscribe(ZEL_EVENT_WAN, [&seen](int32_t, std::string_view) {
                      seen += " second";
                    }).has_value());
        seen += *state;
      });
  ASSERT_TRUE(subscribed.has_value());
  deliver(256, nullptr);
  deliver(256, nullptr);
  EXPECT_EQ(seen, "first second");
}

TEST(CxxHandlers, ThatThrowAreLogged) {
  const auto subscribed = zel::event::subscribe(
      ZEL_EVENT_WAN, [](int32_t, std::string_view) { throw std::runtime_error("no disk"); });
  ASSERT_TRUE(subscribed.has_value());
  const std::string log = captured(stderr, [] { deliver(256, nullptr); });
  EXPECT_NE(log.find("router event: the handler threw: no disk"), std::string::npos) << log;
}

// A query that has `entries` networks; above 100 it is the router that answers with that code.
template <int entries>
int query(zel_wifi_info* networks, int* count) {
  if (entries > 100) return entries;
  const int filled = entries < *count ? entries : *count;
  for (int i = 0; i < filled; ++i) networks[i].WIFI_Status = 1;
  *count = filled;
  return entries - filled;
}

TEST(CxxLists, AreAskedForAgainUntilAllFit) {
  const struct {
    int (*call)(zel_wifi_info*, int*);
    size_t entries;
    int code;
  } cases[] = {{query<0>, 0, 0}, {query<16>, 16, 0}, {query<17>, 17, 0}, {query<101>, 0, 101}};
  for (const auto& row : cases) {
    const auto networks = zel::detail::listed("query", row.call);
    EXPECT_EQ(networks.error().code(), row.code);
    EXPECT_EQ(networks.value_or(std::vector<zel_wifi_info>()).size(), row.entries);
  }
}

TEST(CxxPools, CopyTextsWithTheirEnd) {
  auto pool = zel::pool::make(128);
  ASSERT_TRUE(pool.has_value());
  EXPECT_STREQ(pool->copy(std::string_view("router", 5)).data(), "route");
  EXPECT_STREQ(pool->copy("").data(), "");
}

}  // namespace
