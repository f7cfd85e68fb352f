// A client's connection, what its own calls return, and when.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <chrono>

#include "fake_broker.h"

namespace {

using fake::Broker;
using fake::Bytes;
using fake::Context;
using fake::Message;
using fake::operator+;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kObject = 0x2875bac9;

int call(ubus_context* ctx, int timeout_ms = 5000) {
  Message message;
  return ubus_invoke(ctx, kObject, "m", message.head(), nullptr, nullptr, timeout_ms);
}

TEST(Connecting, FailsWithoutABroker) {
  Broker broker([](Broker& b) { b.hang_up(); }, {});
  EXPECT_EQ(ubus_connect(broker.path().c_str()), nullptr) << "no greeting";
  EXPECT_EQ(ubus_connect("/nonexistent/bus"), nullptr);
  EXPECT_EQ(ubus_connect(std::string(200, 'x').c_str()), nullptr);
}

TEST(Call, ReturnsWhatTheConnectionAnswers) {
  const auto eight = [](blob_buf* buf) { blob_put_u32(buf, UBUS_ATTR_STATUS, 8); };
  const Bytes to_others = fake::frame(UBUS_MSG_STATUS, 2, kObject, eight) +
                          fake::frame(UBUS_MSG_STATUS, 1, kObject + 1, eight) +
                          fake::frame(UBUS_MSG_HELLO, 1, kObject) + fake::frame(77, 1, kObject);
  const Bytes request = fake::frame(UBUS_MSG_INVOKE, 1, kObject);
  Bytes half = fake::status(request, 0);
  half.pop_back();
  const struct {
    const char* why;
    Bytes answer;
    int result;
    bool ends = false;  // the broker's side, after the answer
  } kCases[] = {
      {"a handler's own number", fake::status(request, 99), 99},
      {"STATUS without its attribute", fake::frame(UBUS_MSG_STATUS, 1, kObject), 2},
      {"answers to others are not taken", to_others + fake::status(request, 6), 6},
      {"the status before the end of the connection", fake::status(request, 3), 3, true},
      {"the end of the connection", {}, 10, true},
      {"the end within a frame", half, 10, true},
      {"a bad version", wire::from_hex("010100010000000000000004"), 10},
      {"a length under 4", wire::from_hex("000100010000000000000003"), 10},
      {"a length over the limit", wire::from_hex("000100010000000000100001"), 10},
  };
  for (const auto& c : kCases) {
    Broker broker([&](Broker& b) {
      EXPECT_EQ(fake::seq_of(b.read()), 1);
      b.write(c.answer);
      if (c.ends) b.hang_up();
      EXPECT_TRUE(b.read().empty()) << "nothing is sent out of step";
    });
    Context ctx = fake::connect(broker);
    EXPECT_EQ(call(ctx.get()), c.result) << c.why;
    EXPECT_EQ(ctx->sock.eof, c.result == 10) << c.why;
    if (c.result == 10) {
      EXPECT_EQ(call(ctx.get()), 2) << c.why;
    }
  }
}

int g_lost = 0;

TEST(Connection, OnceLostGives2ForEverythingAndTellsItEachTime) {
  Broker broker([](Broker& b) { b.hang_up(); });
  Context ctx = fake::connect(broker);
  ctx->connection_lost = [](ubus_context*) { ++g_lost; };
  EXPECT_NE(fcntl(ctx->sock.fd, F_GETFD) & FD_CLOEXEC, 0);
  ASSERT_TRUE(fake::wait_input(ctx.get()));
  uint32_t id = 7;
  ubus_object object{};
  Message message;
  EXPECT_EQ(ubus_send_event(ctx.get(), "x", message.head()), 2) << "and no SIGPIPE";
  for (int i = 0; i < 3; ++i) ubus_handle_event(ctx.get());
  EXPECT_EQ(g_lost, 3);
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_EQ(ubus_lookup_id(ctx.get(), "x", &id), 2);
  EXPECT_EQ(id, 7U);
  EXPECT_EQ(ubus_add_object(ctx.get(), &object), 2);
}

TEST(Call, TimesOutAndIgnoresTheLateAnswer) {
  Broker broker([](Broker& b) {
    const Bytes late = fake::status(b.read(), 1);
    b.write(Bytes(late.begin(), late.begin() + 14));  // the wait is not longer for a frame that has begun
    const Bytes next = b.read();
    b.write(Bytes(late.begin() + 14, late.end()) + fake::status(next, 0));
  });
  Context ctx = fake::connect(broker);
  const auto start = Clock::now();
  EXPECT_EQ(call(ctx.get(), 100), 7);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_EQ(call(ctx.get(), 0), 0) << "0 is no limit";
}

}  // namespace
