// Calls and events that come in.
#include <gtest/gtest.h>

#include "fake_broker.h"

namespace {

using fake::Broker;
using fake::Bytes;
using fake::Context;
using fake::Message;
using fake::operator+;

constexpr uint32_t kObject = 5000;
constexpr uint32_t kCaller = 6000;

std::string g_trace;
ubus_request_data g_deferred;

int note_call(ubus_context* ctx, ubus_object*, ubus_request_data* req, const char* method, blob_attr*) {
  EXPECT_EQ(ctx->stack_depth, 1);
  EXPECT_EQ(req->object, kObject);
  EXPECT_EQ(req->peer, kCaller);
  g_trace += std::string(method) + " ";
  return 0;
}

int call_out(ubus_context* ctx, ubus_object*, ubus_request_data*, const char* method, blob_attr* msg) {
  g_trace += "out( ";
  Message message;
  const int status = ubus_invoke(ctx, 9000, "other", message.head(), nullptr, nullptr, 300);
  EXPECT_STREQ(method, "out") << "valid across a nested call";
  EXPECT_EQ(blob_len(msg), 0U);
  g_trace += ") ";
  return status;
}

int defer(ubus_context* ctx, ubus_object*, ubus_request_data* req, const char*, blob_attr*) {
  ubus_defer_request(ctx, req, &g_deferred);
  return 9;
}

int reply_too_much(ubus_context* ctx, ubus_object*, ubus_request_data* req, const char*, blob_attr*) {
  Message large;
  blob_put(large, 1, nullptr, 1048576);
  EXPECT_NE(ubus_send_reply(ctx, req, large.head()), 0);
  EXPECT_EQ(ubus_send_reply(ctx, req, nullptr), 0);
  return 0;
}

constexpr ubus_method kMethods[] = {UBUS_METHOD_NOARG("one", note_call), UBUS_METHOD_NOARG("two", note_call),
                                    UBUS_METHOD_NOARG("out", call_out), UBUS_METHOD_NOARG("defer", defer),
                                    UBUS_METHOD_NOARG("too_much", reply_too_much)};

// A nameless object with these methods.
struct Object : ubus_object {
  Object() : ubus_object{} {
    methods = kMethods;
    n_methods = ARRAY_SIZE(kMethods);
  }
};

Bytes called(uint16_t seq, const char* method) {
  return fake::invoke(seq, kCaller, kObject, method);
}

// Reads the STATUS of a call and returns its code.
int status_of(Broker& b, uint16_t seq) {
  const Bytes answer = b.read();
  EXPECT_EQ(fake::type_of(answer), UBUS_MSG_STATUS);
  EXPECT_EQ(fake::seq_of(answer), seq);
  EXPECT_EQ(fake::peer_of(answer), kCaller);
  EXPECT_EQ(fake::number_of(answer, UBUS_ATTR_OBJID), kObject);
  return static_cast<int>(fake::number_of(answer, UBUS_ATTR_STATUS));
}

void serve_until_end(ubus_context* ctx) {
  while (!ctx->sock.eof && fake::wait_input(ctx)) ubus_handle_event(ctx);
}

TEST(Service, AnswersWhatItCannotServe) {
  const struct {
    const char* why;
    uint32_t object;
    const char* method;
    bool data;
    int no_reply;  // -1: without the attribute
    int status;    // -1: none
    uint32_t answered_object;
  } kCases[] = {
      {"no such method", kObject, "none", true, -1, 3, kObject},
      {"no such method, and no reply wanted", kObject, "none", true, 1, -1, 0},
      {"no DATA", kObject, "one", false, -1, 2, kObject},
      {"NO_REPLY of 0 wants one", kObject, "one", false, 0, 2, kObject},
      {"another object", kObject + 1, "one", true, -1, 4, 0},
      {"no method", kObject, nullptr, true, -1, 2, 0},
  };
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    for (const auto& c : kCases) {
      b.write(fake::frame(UBUS_MSG_INVOKE, 1, kCaller, [&](blob_buf* buf) {
        blob_put_u32(buf, UBUS_ATTR_OBJID, c.object);
        if (c.method != nullptr) blob_put_string(buf, UBUS_ATTR_METHOD, c.method);
        if (c.data) blob_put(buf, UBUS_ATTR_DATA, nullptr, 0);
        if (c.no_reply >= 0) blob_put_u8(buf, UBUS_ATTR_NO_REPLY, static_cast<uint8_t>(c.no_reply));
      }));
      if (c.status < 0) continue;
      const Bytes answer = b.read();
      EXPECT_EQ(fake::number_of(answer, UBUS_ATTR_STATUS), static_cast<uint32_t>(c.status)) << c.why;
      EXPECT_EQ(fake::number_of(answer, UBUS_ATTR_OBJID), c.answered_object) << c.why;
    }
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  serve_until_end(ctx.get());
  EXPECT_EQ(g_trace, "") << "no handler ran";
}

TEST(Service, KeepsItsConnectionAfterAReplyOverTheLimit) {
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    b.write(called(1, "too_much"));
    EXPECT_EQ(wire::to_hex(b.read()),
              "000200010000177000000010"
              "0300000800001388"
              "07000004");
    EXPECT_EQ(status_of(b, 1), 0);
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  serve_until_end(ctx.get());
}

TEST(Service, AnswersADeferredCallLater) {
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    b.write(called(1, "defer") + called(2, "one"));
    EXPECT_EQ(status_of(b, 2), 0) << "the deferred one is not answered by its handler's result";
    EXPECT_EQ(fake::type_of(b.read()), UBUS_MSG_DATA);
    EXPECT_EQ(status_of(b, 1), 6);
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  while (g_trace.empty() && fake::wait_input(ctx.get())) ubus_handle_event(ctx.get());
  EXPECT_EQ(ubus_send_reply(ctx.get(), &g_deferred, nullptr), 0);
  ubus_complete_deferred_request(ctx.get(), &g_deferred, 6);
  broker.finish();
}

TEST(Queue, RunsCallsOldestFirstBeforeTheOutermostCallReturns) {
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    const Bytes outer = b.read();
    b.write(called(1, "one") + called(2, "two"));
    b.write(fake::status(outer, 5));
    EXPECT_EQ(status_of(b, 1), 0);
    EXPECT_EQ(status_of(b, 2), 0);
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  Message message;
  EXPECT_EQ(ubus_invoke(ctx.get(), 9000, "other", message.head(), nullptr, nullptr, 5000), 5);
  EXPECT_EQ(g_trace, "one two ");
  EXPECT_TRUE(list_empty(&ctx->pending));
}

TEST(Queue, LetsHandlersNeverNestSoServicesThatCallEachOtherTimeOut) {
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    const Bytes outer = b.read();
    b.write(called(1, "out"));
    b.write(called(2, "one"));  // would end the call that "out" makes
    b.write(fake::status(outer, 0));
    EXPECT_EQ(fake::type_of(b.read()), UBUS_MSG_INVOKE);
    EXPECT_EQ(status_of(b, 1), 7);
    EXPECT_EQ(status_of(b, 2), 0);
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  Message message;
  EXPECT_EQ(ubus_invoke(ctx.get(), 9000, "other", message.head(), nullptr, nullptr, 5000), 0);
  EXPECT_EQ(g_trace, "out( ) one ");
}

TEST(Input, IsReadToItsEndUntilASynchronousCallThenFrameByFrame) {
  Broker broker([&](Broker& b) {
    const Bytes traces = fake::frame(UBUS_MSG_MONITOR, 1, 0) + fake::frame(UBUS_MSG_MONITOR, 2, 0);
    b.write(traces);
    b.answer_add(kObject);
    b.write(traces);
  });
  Context ctx = fake::connect(broker);
  ctx->monitor_cb = [](ubus_context*, uint32_t seq, blob_attr*) { g_trace += std::to_string(seq); };
  ASSERT_TRUE(fake::wait_input(ctx.get()));
  ubus_handle_event(ctx.get());
  EXPECT_EQ(g_trace, "12");
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  EXPECT_TRUE(ctx->cancel_poll);
  ASSERT_TRUE(fake::wait_input(ctx.get()));
  ubus_handle_event(ctx.get());
  EXPECT_EQ(g_trace, "121");
  ubus_handle_event(ctx.get());
  EXPECT_EQ(g_trace, "1212");
}

TEST(Input, ServesTheContextInTheLoop) {
  Broker broker([&](Broker& b) {
    b.answer_add(kObject);
    b.write(called(1, "out"));
    const Bytes inner = b.read();
    b.write(called(2, "one"));  // queued while the loop runs the handler
    b.write(fake::status(inner, 0));
    EXPECT_EQ(status_of(b, 1), 0);
    EXPECT_EQ(status_of(b, 2), 0);
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  Object object;
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  ubus_add_uloop(ctx.get());
  uloop_run();  // until the connection is lost
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_EQ(g_trace, "out( ) one ");
  ctx.reset();
  uloop_done();
}

TEST(Object, PublishesTheArgumentsThatItsMaskNames) {
  static constexpr blobmsg_policy kPolicy[] = {{.name = "hidden", .type = BLOBMSG_TYPE_STRING},
                                               {.name = "shown", .type = BLOBMSG_TYPE_INT8}};
  static constexpr ubus_method kMasked[] = {UBUS_METHOD_MASK("m", note_call, kPolicy, 2)};
  static ubus_object_type type = UBUS_OBJECT_TYPE("t", kMasked);
  Broker broker([](Broker& b) {
    const Bytes request = b.read();
    EXPECT_EQ(wire::to_hex(request).substr(24),
              "0200000674000000"
              "0600001c"
              "8200001800016d00"
              "85000010000573686f776e00"
              "00000007");
    b.write(fake::status(request, 0));
    const Bytes again = b.read();
    EXPECT_EQ(fake::number_of(again, UBUS_ATTR_OBJTYPE), 77U) << "a known type is named by its id";
    b.write(fake::data(again, [](blob_buf* buf) { blob_put_u32(buf, UBUS_ATTR_OBJID, 1); }));
    b.write(fake::status(again, 2));
  });
  Context ctx = fake::connect(broker);
  ubus_object object{};
  object.id = 4711;
  object.name = "t";
  object.type = &type;
  EXPECT_EQ(ubus_add_object(ctx.get(), &object), 5) << "status 0 without an id";
  type.id = 77;
  EXPECT_EQ(ubus_add_object(ctx.get(), &object), 2);
  EXPECT_EQ(ctx->objects.count, 0U);
}

TEST(EventHandler, AsksOnceMoreForEachPattern) {
  Broker broker([](Broker& b) {
    b.answer_add(kObject);
    for (const int status : {0, 6, 2}) b.write(fake::status(b.read(), status));
    const Bytes removal = b.read();
    EXPECT_EQ(fake::type_of(removal), UBUS_MSG_REMOVE_OBJECT);
    b.write(fake::status(removal, 0));
    EXPECT_TRUE(b.read().empty());
  });
  Context ctx = fake::connect(broker);
  ubus_event_handler handler{};
  EXPECT_EQ(ubus_register_event_handler(ctx.get(), &handler, "a"), 0);
  EXPECT_EQ(ubus_register_event_handler(ctx.get(), &handler, ""), 6);
  EXPECT_EQ(ubus_register_event_handler(ctx.get(), &handler, nullptr), 2);
  EXPECT_EQ(ubus_unregister_event_handler(ctx.get(), &handler), 0);
  EXPECT_EQ(handler.obj.id, 0U);
  EXPECT_EQ(ubus_send_event(ctx.get(), "a", nullptr), 2) << "nothing is sent";
  ctx.reset();
}

}  // namespace
