// The recorded exchanges again: a played broker sends its recorded side, the library must send the other one,
// byte for byte.
#include <gtest/gtest.h>

#include "../support/played_broker.h"
#include "client.h"

namespace {

using test::FrameSocket;
using test::Message;
using test::Received;

// The service and listener of the recordings.
int g_status = 0;  // what the service's next call gives
ubus_object g_object{};
ubus_object_type g_type{};
ubus_event_handler g_listener{};
std::string g_event;  // last event's name
std::string g_reply;  // last reply's text

int send_cmd(ubus_context* ctx, ubus_object*, ubus_request_data* req, const char*, blob_attr*) {
  EXPECT_STREQ(req->acl.user, "root");
  EXPECT_STREQ(req->acl.group, "root");
  EXPECT_STREQ(req->acl.object, "zel_1001");
  Message reply;
  blobmsg_add_string(reply, "description", "ok");
  EXPECT_EQ(ubus_send_reply(ctx, req, reply.head()), 0);
  return g_status;
}

constexpr blobmsg_policy kArguments[] = {{.name = "msg", .type = BLOBMSG_TYPE_STRING}};
constexpr ubus_method kMethods[] = {UBUS_METHOD("send_cmd", send_cmd, kArguments)};

int add_service(ubus_context* ctx) {
  g_type = UBUS_OBJECT_TYPE("zel_1001", kMethods);
  g_object.name = "zel_1001";
  g_object.type = &g_type;
  g_object.methods = kMethods;
  g_object.n_methods = ARRAY_SIZE(kMethods);
  return ubus_add_object(ctx, &g_object);
}

template <int Status = 0>
int serve(ubus_context* ctx) {
  g_status = Status;
  if (!test::wait_input(ctx)) return -1;
  ubus_handle_event(ctx);
  return ctx->sock.eof ? -1 : 0;
}

int remove_service(ubus_context* ctx) {
  const int status = ubus_remove_object(ctx, &g_object);
  EXPECT_EQ(g_object.id, 0U);
  EXPECT_EQ(g_type.id, 0U);
  return status;
}

int look_up(ubus_context* ctx, const char* name, uint32_t expected) {
  uint32_t id = 7;
  const int status = ubus_lookup_id(ctx, name, &id);
  EXPECT_EQ(id, expected);
  return status;
}

void note_reply(ubus_request*, int type, blob_attr* msg) {
  EXPECT_EQ(type, 2);
  g_reply = blob_len(msg) == 0 ? "" : blobmsg_get_string(blob_first_child(msg));
}

template <uint32_t Object>
int invoke(ubus_context* ctx, const char* method = "send_cmd") {
  Message message;
  blobmsg_add_string(message, "msg", "hello");
  return ubus_invoke(ctx, Object, method, message.head(), note_reply, nullptr, 5000);
}

int send_event(ubus_context* ctx) {
  Message message;
  blobmsg_add_u32(message, "event", 1);
  blobmsg_add_u32(message, "subevent", 257);
  blobmsg_add_string(message, "data", "up");
  return ubus_send_event(ctx, "zel.event", message.head());
}

int listen(ubus_context* ctx) {
  g_listener.cb = [](ubus_context*, ubus_event_handler* ev, const char* type, blob_attr* msg) {
    EXPECT_EQ(ev, &g_listener);
    EXPECT_GT(blob_len(msg), 0U);
    g_event = type;
  };
  return ubus_register_event_handler(ctx, &g_listener, "zel.event");
}

// What the library is asked to do while one file is played, and its result.
struct Step {
  const char* file;
  std::function<int(ubus_context*)> action;
  int result;
};

// Plays the broker's side of one connection.
void play(const FrameSocket& client, const std::string& connection, const std::vector<Step>& steps) {
  wire::Bindings bindings;
  uint16_t request_seq = 0;
  uint16_t call_seq = 0;
  for (const Step& step : steps) {
    for (const wire::Frame& frame : wire::load_capture(step.file)) {
      const bool answers = frame.type == "STATUS" || frame.type == "DATA";
      if (frame.connection != connection || frame.type == "HELLO") continue;
      if (!frame.to_broker) {
        if (!answers) call_seq = Received{frame.bytes}.seq();
        client.send(wire::with_bindings(frame, bindings, answers ? request_seq : call_seq));
        continue;
      }
      const Received seen = client.receive().value();
      EXPECT_EQ(wire::difference(frame, seen.bytes, bindings), "") << step.file;
      if (!answers) request_seq = seen.seq();
      EXPECT_EQ(seen.seq(), answers ? call_seq : request_seq) << step.file;
    }
  }
  EXPECT_FALSE(client.receive()) << "nothing is sent on closing";
}

void replay(const std::string& connection, const std::vector<Step>& steps) {
  test::PlayedBroker broker([&](const FrameSocket& client) { play(client, connection, steps); },
                            wire::load_capture("01-hello.txt").at(0).bytes);
  const test::Context ctx = test::connect_to(broker.path());
  ASSERT_NE(ctx, nullptr);
  for (const Step& step : steps) EXPECT_EQ(step.action(ctx.get()), step.result) << step.file;
}

TEST(RecordedExchange, TheServiceSendsTheRecordedFrames) {
  replay("svc", {{"02-add-object.txt", add_service, 0},
                 {"04-invoke-status-0.txt", serve<>, 0},
                 {"05-invoke-status-5.txt", serve<5>, 0},
                 {"06-invoke-missing-method.txt", serve<>, 0},
                 {"11-remove-object.txt", remove_service, 0}});
}

TEST(RecordedExchange, AServiceAnswersACallWithEmptyData) {
  replay("svc2", {{"13-object-added-event.txt", add_service, 0}, {"16-invoke-empty-data.txt", serve<>, 0}});
}

TEST(RecordedExchange, TheCallerSendsTheRecordedFrames) {
  const auto invoke_empty = [](ubus_context* c) {
    g_reply.clear();
    return ubus_invoke(c, 0x1eaffe39, "send_cmd", nullptr, note_reply, nullptr, 5000);
  };
  replay(
      "caller",
      {{"03-lookup.txt", [](ubus_context* c) { return look_up(c, "zel_1001", 0x2875bac9); }, 0},
       {"04-invoke-status-0.txt", [](ubus_context* c) { return invoke<0x2875bac9>(c); }, 0},
       {"05-invoke-status-5.txt", [](ubus_context* c) { return invoke<0x2875bac9>(c); }, 5},
       {"06-invoke-missing-method.txt", [](ubus_context* c) { return invoke<0x2875bac9>(c, "no_such"); }, 3},
       {"07-lookup-missing-object.txt", [](ubus_context* c) { return look_up(c, "no_such_object", 7); }, 4},
       {"15-invoke-missing-object.txt", [](ubus_context* c) { return invoke<0x7ffffff1>(c); }, 4},
       {"16-invoke-empty-data.txt", invoke_empty, 0},
       {"21-lookup-wildcard.txt", [](ubus_context* c) { return look_up(c, "zel_*", 0x1eaffe39); }, 0}});
  EXPECT_EQ(g_reply, "ok");
}

TEST(RecordedExchange, TheListenerSendsTheRecordedFrames) {
  const auto unlisten = [](ubus_context* c) { return ubus_unregister_event_handler(c, &g_listener); };
  replay("listener", {{"08-event-register.txt", listen, 0},
                      {"10-event-deliver.txt", serve<>, 0},
                      {"20-event-unregister.txt", unlisten, 0}});
  EXPECT_EQ(g_event, "zel.event");
}

TEST(RecordedExchange, TheSenderOfAnEventAndTheOwnerOfATakenNameSendTheRecordedFrames) {
  replay("sender", {{"09-event-send.txt", send_event, 0}});
  replay("dup", {{"14-add-object-name-taken.txt", add_service, 2}});
}

}  // namespace
