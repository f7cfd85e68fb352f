// What a client's own calls return, and when.
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

TEST(Call, ReturnsWhatTheConnectionAnswers) {
  const struct {
    const char* why;
    void (*script)(Broker& broker, const Bytes& request);
    int result;
  } kCases[] = {
      {"a handler's own number", [](Broker& b, const Bytes& r) { b.write(fake::status(r, 99)); }, 99},
      {"a negative one", [](Broker& b, const Bytes& r) { b.write(fake::status(r, -1)); }, -1},
      {"STATUS without its attribute",
       [](Broker& b, const Bytes& r) { b.write(fake::frame(UBUS_MSG_STATUS, fake::seq_of(r), kObject)); }, 2},
      {"attributes in another order, with unknown ones",
       [](Broker& b, const Bytes& r) {
         b.write(fake::frame(UBUS_MSG_STATUS, fake::seq_of(r), kObject, [](blob_buf* buf) {
           blob_put_u32(buf, UBUS_ATTR_OBJID, kObject);
           blob_put_u32(buf, 100, 1);
           blob_put_u32(buf, UBUS_ATTR_STATUS, 4);
         }));
       },
       4},
      {"answers to others are not taken",
       [](Broker& b, const Bytes& r) {
         const uint16_t seq = fake::seq_of(r);
         const auto eight = [](blob_buf* buf) { blob_put_u32(buf, UBUS_ATTR_STATUS, 8); };
         b.write(fake::frame(UBUS_MSG_STATUS, seq + 1, kObject, eight) +
                 fake::frame(UBUS_MSG_STATUS, seq, kObject + 1, eight) +
                 fake::frame(UBUS_MSG_HELLO, seq, kObject) + fake::frame(77, seq, kObject) +
                 fake::status(r, 6));
       },
       6},
      {"the status before the end of the connection",
       [](Broker& b, const Bytes& r) {
         b.write(fake::status(r, 3));
         b.hang_up();
       },
       3},
      {"the end of the connection", [](Broker& b, const Bytes&) { b.hang_up(); }, 10},
      {"the end within a frame",
       [](Broker& b, const Bytes& r) {
         Bytes half = fake::status(r, 0);
         half.resize(half.size() - 1);
         b.write(half);
         b.hang_up();
       },
       10},
      {"a bad version", [](Broker& b, const Bytes&) { b.write(wire::from_hex("010100010000000000000004")); },
       10},
      {"a length under 4",
       [](Broker& b, const Bytes&) { b.write(wire::from_hex("000100010000000000000003")); }, 10},
      {"a length over the limit",
       [](Broker& b, const Bytes&) { b.write(wire::from_hex("000100010000000000100001")); }, 10},
  };
  for (const auto& c : kCases) {
    Broker broker([&](Broker& b) {
      c.script(b, b.read());
      b.read();
    });
    Context ctx = fake::connect(broker);
    EXPECT_EQ(call(ctx.get()), c.result) << c.why;
    EXPECT_EQ(ctx->sock.eof, c.result == 10) << c.why;
    EXPECT_EQ(ctx->stack_depth, 0) << c.why;
    EXPECT_TRUE(list_empty(&ctx->requests)) << c.why;
  }
}

TEST(Call, Returns2ForEverythingAfterTheBrokerIsGone) {
  Broker broker([](Broker& b) { b.hang_up(); });
  Context ctx = fake::connect(broker);
  broker.finish();
  uint32_t id = 7;
  ubus_object object{};
  ubus_request_data request{};
  Message message;
  EXPECT_EQ(call(ctx.get()), 2);
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_EQ(ubus_lookup_id(ctx.get(), "x", &id), 2);
  EXPECT_EQ(id, 7U);
  EXPECT_EQ(ubus_add_object(ctx.get(), &object), 2);
  EXPECT_EQ(ubus_remove_object(ctx.get(), &object), 2);
  EXPECT_EQ(ubus_send_event(ctx.get(), "x", message.head()), 2);
  EXPECT_EQ(ubus_send_reply(ctx.get(), &request, message.head()), 5);
}

TEST(Call, TimesOutAndIgnoresTheLateAnswer) {
  const auto other = [](Broker& b) {
    const Bytes late = b.read();
    const Bytes half = fake::status(late, 1);
    b.write(Bytes(half.begin(), half.begin() + 14));  // the wait is not longer for a frame that has begun
    const Bytes next = b.read();
    b.write(Bytes(half.begin() + 14, half.end()) + fake::status(next, 0));
    const Bytes at_once = b.read();
    EXPECT_EQ(fake::type_of(at_once), UBUS_MSG_INVOKE) << "it is sent all the same";
    b.write(fake::status(at_once, 1));
    b.write(fake::status(b.read(), 0));
  };
  Broker broker(other);
  Context ctx = fake::connect(broker);
  const auto start = Clock::now();
  EXPECT_EQ(call(ctx.get(), 100), 7);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(100));
  EXPECT_LT(Clock::now() - start, std::chrono::seconds(5));
  EXPECT_EQ(call(ctx.get()), 0);
  EXPECT_EQ(call(ctx.get(), -1), 7);
  EXPECT_EQ(call(ctx.get(), 0), 0);
}

TEST(Call, WithANegativeTimeoutLooksAtNoInput) {
  Broker broker([](Broker& b) {
    b.write(fake::status(fake::frame(UBUS_MSG_INVOKE, 1, kObject), 0));
    EXPECT_EQ(fake::type_of(b.read()), UBUS_MSG_INVOKE);
  });
  Context ctx = fake::connect(broker);
  ASSERT_TRUE(fake::wait_input(ctx.get()));
  EXPECT_EQ(call(ctx.get(), -1), 7) << "although an answer is there";
}

TEST(Call, GetsEachResultBeforeItReturns) {
  std::vector<size_t> sizes;
  Broker broker([](Broker& b) {
    const Bytes request = b.read();
    const auto with = [&](unsigned size) {
      return fake::data(request, [=](blob_buf* buf) { blob_put(buf, UBUS_ATTR_DATA, nullptr, size); });
    };
    const Bytes all =
        with(0) + fake::data(request, {}) + with(8) + with(1048568) + fake::status(request, 0) + with(4);
    // In pieces that end nowhere near the ends of frames, and joined.
    for (size_t at = 0; at < 40; at += 5) b.write(Bytes(all.begin() + at, all.begin() + at + 5));
    b.write(Bytes(all.begin() + 40, all.end()));
    b.read();
  });
  Context ctx = fake::connect(broker);
  const auto note = [](ubus_request* req, int type, blob_attr* msg) {
    EXPECT_EQ(type, UBUS_MSG_DATA);
    static_cast<std::vector<size_t>*>(req->priv)->push_back(blob_len(msg));
  };
  Message message;
  EXPECT_EQ(ubus_invoke(ctx.get(), kObject, "m", message.head(), note, &sizes, 5000), 0);
  EXPECT_EQ(sizes, (std::vector<size_t>{0, 8, 1048568})) << "none without DATA, none after the status";
}

TEST(Call, RefusesAMessageOverTheLimitAndSendsNothing) {
  // An outer attribute holds OBJID (8), METHOD "m" (8), and the header of DATA (4), besides its own 4.
  constexpr unsigned kLargest = 1048576 - 24;
  Broker broker([](Broker& b) {
    const Bytes request = b.read();
    EXPECT_EQ(request.size(), 1048584U);
    b.write(fake::status(request, 0));
    EXPECT_TRUE(b.read().empty());
  });
  Context ctx = fake::connect(broker);
  Message fits;
  Message too_large;
  blob_put(fits, 1, nullptr, kLargest - 4);
  blob_put(too_large, 1, nullptr, kLargest - 3);
  EXPECT_EQ(ubus_invoke(ctx.get(), kObject, "m", too_large.head(), nullptr, nullptr, 5000), 2);
  EXPECT_FALSE(ctx->sock.eof);
  EXPECT_EQ(ubus_invoke(ctx.get(), kObject, "m", fits.head(), nullptr, nullptr, 5000), 0);
  EXPECT_EQ(ubus_invoke_fd(ctx.get(), kObject, "m", fits.head(), nullptr, nullptr, 5000, 0), 8);
  ctx.reset();
}

struct Found {
  std::vector<std::string> names;
  bool signature = false;
};

TEST(LookUp, CallsBackForCompleteAnswersOnly) {
  Broker broker([](Broker& b) {
    const Bytes request = b.read();
    EXPECT_EQ(request.size(), 12U) << "no name asks for all";
    for (const int missing : {+UBUS_ATTR_OBJID, +UBUS_ATTR_OBJPATH, +UBUS_ATTR_OBJTYPE, -1}) {
      b.write(fake::data(request, [&](blob_buf* buf) {
        if (missing != UBUS_ATTR_OBJID) blob_put_u32(buf, UBUS_ATTR_OBJID, 5000);
        if (missing != UBUS_ATTR_OBJPATH) blob_put_string(buf, UBUS_ATTR_OBJPATH, "name");
        if (missing != UBUS_ATTR_OBJTYPE) blob_put_u32(buf, UBUS_ATTR_OBJTYPE, 6000);
        blob_put_u16(buf, UBUS_ATTR_OBJTYPE, 1);  // of the wrong size: as if absent
      }));
    }
    b.write(fake::status(request, 0));
  });
  Context ctx = fake::connect(broker);
  Found found;
  const auto note = [](ubus_context*, ubus_object_data* obj, void* priv) {
    EXPECT_EQ(obj->id, 5000U);
    EXPECT_EQ(obj->type_id, 6000U);
    static_cast<Found*>(priv)->names.emplace_back(obj->path);
    static_cast<Found*>(priv)->signature = obj->signature != nullptr;
  };
  EXPECT_EQ(ubus_lookup(ctx.get(), nullptr, note, &found), 0);
  EXPECT_EQ(found.names, std::vector<std::string>{"name"});
  EXPECT_FALSE(found.signature);
}

// --- requests that are completed by input

std::vector<int> g_completed;

ubus_request start_call(ubus_context* ctx) {
  ubus_request request;
  Message message;
  EXPECT_EQ(ubus_invoke_async(ctx, kObject, "m", message.head(), &request), 0);
  request.complete_cb = [](ubus_request*, int status) { g_completed.push_back(status); };
  return request;
}

TEST(AsynchronousCall, CompletesInAnyOrderWhileInputIsProcessed) {
  Broker broker([](Broker& b) {
    const Bytes first = b.read();
    const Bytes second = b.read();
    const Bytes aborted = b.read();
    const Bytes unanswered = b.read();
    EXPECT_EQ(fake::seq_of(first), 1);
    EXPECT_EQ(fake::seq_of(unanswered), 4);
    b.write(fake::status(aborted, 1) + fake::status(second, 22) + fake::status(first, 11));
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  ubus_request requests[4];
  for (ubus_request& request : requests) {
    request = start_call(ctx.get());
    INIT_LIST_HEAD(&request.list);
    ubus_complete_request_async(ctx.get(), &request);
  }
  ubus_abort_request(ctx.get(), &requests[2]);
  broker.finish();
  ubus_handle_event(ctx.get());
  EXPECT_EQ(g_completed, (std::vector<int>{22, 11, 7})) << "7 at the end of the connection";
  ubus_abort_request(ctx.get(), &requests[0]);
}

TEST(AsynchronousCall, CanBeWaitedFor) {
  Broker broker([](Broker& b) { b.write(fake::status(b.read(), 9)); });
  Context ctx = fake::connect(broker);
  ubus_request request = start_call(ctx.get());
  INIT_LIST_HEAD(&request.list);
  EXPECT_EQ(ubus_complete_request(ctx.get(), &request, 5000), 9);
  EXPECT_EQ(g_completed, std::vector<int>{9});
}

TEST(NestedCall, FromADataCallbackLeavesItsMessageValid) {
  Broker broker([](Broker& b) {
    const Bytes outer = b.read();
    b.write(fake::data(outer, [](blob_buf* buf) { blob_put(buf, UBUS_ATTR_DATA, "outer's data", 12); }));
    const Bytes inner = b.read();
    b.write(fake::status(outer, 1) + fake::status(inner, 2));
  });
  Context ctx = fake::connect(broker);
  const auto nest = [](ubus_request* req, int, blob_attr* msg) {
    EXPECT_EQ(req->ctx->stack_depth, 1);
    EXPECT_EQ(call(req->ctx), 2);
    EXPECT_EQ(std::string(static_cast<char*>(blob_data(msg)), blob_len(msg)), "outer's data");
  };
  Message message;
  EXPECT_EQ(ubus_invoke(ctx.get(), kObject, "m", message.head(), nest, nullptr, 5000), 1);
}

}  // namespace
