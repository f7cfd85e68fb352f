// What a client's own calls return, and when.
#include <gtest/gtest.h>

#include <chrono>

#include "../support/broker_process.h"
#include "../support/played_broker.h"
#include "client.h"

namespace {

using namespace test;
using Clock = std::chrono::steady_clock;

constexpr uint32_t kCalled = 0x2875bac9;

int call(ubus_context* ctx, int timeout_ms = 5000) {
  Message message;
  return ubus_invoke(ctx, kCalled, "m", message.head(), nullptr, nullptr, timeout_ms);
}

ByteString status(uint32_t code, uint16_t seq = 1, uint32_t peer = kCalled) {
  return frame(kStatus, seq, peer, {number(kCode, code)});
}

TEST(Call, ReturnsWhatTheConnectionAnswers) {
  const ByteString to_others = joined(
      {status(8, 2), status(8, 1, kCalled + 1), frame(kHello, 1, kCalled, {}), frame(77, 1, kCalled, {})});
  ByteString half = status(0);
  half.pop_back();
  const struct {
    const char* why;
    ByteString answer;
    int result;
    bool ends = false;  // the broker's side, after the answer
  } kCases[] = {
      {"a handler's own number", status(99), 99},
      {"STATUS without its attribute", frame(kStatus, 1, kCalled, {}), 2},
      {"answers to others are not taken", joined({to_others, status(6)}), 6},
      {"the status before the end of the connection", status(3), 3, true},
      {"the end of the connection", {}, 10, true},
      {"the end within a frame", half, 10, true},
      {"a bad version", wire::from_hex("010100010000000000000004"), 10},
      {"a length under 4", wire::from_hex("000100010000000000000003"), 10},
      {"a length over the limit", wire::from_hex("000100010000000000100001"), 10},
  };
  for (const auto& c : kCases) {
    PlayedBroker broker([&](const FrameSocket& client) {
      EXPECT_EQ(client.receive().value().seq(), 1);
      client.send(c.answer);
      if (c.ends) return;
      EXPECT_FALSE(client.receive()) << "nothing is sent out of step";
    });
    const Context ctx = connect_to(broker.path());
    EXPECT_EQ(call(ctx.get()), c.result) << c.why;
    EXPECT_EQ(ctx->sock.eof, c.result == 10) << c.why;
    if (c.result != 10) continue;
    EXPECT_EQ(call(ctx.get()), 2) << c.why << ": the next call";
  }
}

TEST(Call, TimesOutAndIgnoresTheLateAnswer) {
  PlayedBroker broker([](const FrameSocket& client) {
    const ByteString late = test::status(client.receive().value(), 1);
    client.send({late.begin(), late.begin() + 14});  // the wait is not longer for a frame that has begun
    const Received next = client.receive().value();
    client.send({late.begin() + 14, late.end()});
    client.send(test::status(next, 0));
  });
  const Context ctx = connect_to(broker.path());
  const auto start = Clock::now();
  EXPECT_EQ(call(ctx.get(), 100), 7);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_EQ(call(ctx.get(), 0), 0) << "0 is no limit";
}

using Connecting = BrokerTest;

TEST_F(Connecting, WaitsForTheGreetingOfAStoppedBrokerNoLongerThanItSays) {
  kill(broker_.pid(), SIGSTOP);
  EXPECT_EQ(connect_to(path_), nullptr);
  EXPECT_EQ(errno, ETIMEDOUT);
}

}  // namespace
