// Calls and events that come in, and the objects that take them.
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

constexpr ubus_method kMethods[] = {UBUS_METHOD_NOARG("one", note_call), UBUS_METHOD_NOARG("two", note_call),
                                    UBUS_METHOD_NOARG("out", call_out)};

// A client that has added a nameless object with these methods; the script goes on from there.
struct Service {
  explicit Service(Broker::Script script)
      : broker([script = std::move(script)](Broker& b) {
          const Bytes added = b.read();
          const auto id = [](blob_buf* buf) { blob_put_u32(buf, UBUS_ATTR_OBJID, kObject); };
          b.write(fake::data(added, id) + fake::status(added, 0));
          script(b);
        }) {
    object.methods = kMethods;
    object.n_methods = ARRAY_SIZE(kMethods);
    EXPECT_EQ(ubus_add_object(ctx.get(), &object), 0);
  }
  void serve_until_end() {
    while (!ctx->sock.eof && fake::wait_input(ctx.get())) ubus_handle_event(ctx.get());
  }

  Broker broker;
  ubus_object object{};
  Context ctx = fake::connect(broker);
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

TEST(Queue, RunsCallsOldestFirstBeforeTheOutermostCallReturnsAndNeverNestsThem) {
  Service service([&](Broker& b) {
    const Bytes outer = b.read();
    // The second one would end the call that "out" makes: services that call each other time out.
    b.write(called(1, "out") + called(2, "one") + called(3, "two") + fake::status(outer, 5));
    EXPECT_EQ(fake::type_of(b.read()), UBUS_MSG_INVOKE);
    EXPECT_EQ(status_of(b, 1), 7);
    EXPECT_EQ(status_of(b, 2), 0);
    EXPECT_EQ(status_of(b, 3), 0);
  });
  Message message;
  EXPECT_EQ(ubus_invoke(service.ctx.get(), 9000, "other", message.head(), nullptr, nullptr, 5000), 5);
  EXPECT_EQ(g_trace, "out( ) one two ");
}

}  // namespace
