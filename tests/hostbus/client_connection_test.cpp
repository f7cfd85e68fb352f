// Connecting, losing and regaining the broker, and contexts in several threads.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <csignal>
#include <string>
#include <thread>

#include "fake_broker.h"

namespace {

using fake::Broker;
using fake::Bytes;
using fake::Context;
using fake::Message;
using fake::operator+;

constexpr uint32_t kObject = 5000;

TEST(Connecting, FailsWithoutAProperGreeting) {
  const struct {
    const char* why;
    const char* greeting;
  } kCases[] = {
      {"another type", "000100009dcef7a900000004"},      {"another version", "010000009dcef7a900000004"},
      {"a client id of 0", "000000000000000000000004"},  {"a client id of 1", "000000000000000100000004"},
      {"an illegal length", "000000009dcef7a900000003"}, {"an end before the greeting", ""}};
  for (const auto& c : kCases) {
    Broker broker([](Broker& b) { b.hang_up(); }, wire::from_hex(c.greeting));
    EXPECT_EQ(ubus_connect(broker.path().c_str()), nullptr) << c.why;
  }
  EXPECT_EQ(ubus_connect("/nonexistent/bus"), nullptr);
  EXPECT_EQ(ubus_connect(std::string(200, 'x').c_str()), nullptr);
  ubus_free(nullptr);
}

TEST(Connecting, TouchesNoSignalAndLeavesNoDescriptorToChildren) {
  constexpr int kSignals = 32;  // the real-time ones belong to libc in part
  struct sigaction before[kSignals];
  for (int i = 1; i < kSignals; ++i) sigaction(i, nullptr, &before[i]);
  Broker broker([](Broker& b) { b.hang_up(); });
  Context ctx = fake::connect(broker);
  ASSERT_NE(ctx, nullptr);
  EXPECT_NE(fcntl(ctx->sock.fd, F_GETFD) & FD_CLOEXEC, 0);
  EXPECT_NE(fcntl(ctx->sock.fd, F_GETFL) & O_NONBLOCK, 0);
  EXPECT_FALSE(ctx->sock.registered);
  EXPECT_EQ(ctx->sock.flags, 0);
  EXPECT_EQ(ctx->local_id, cpu_to_be32(fake::kClientId));
  broker.finish();
  Message message;
  EXPECT_EQ(ubus_send_event(ctx.get(), "x", message.head()), 2) << "and no SIGPIPE";
  for (int i = 1; i < kSignals; ++i) {
    struct sigaction now {};
    sigaction(i, nullptr, &now);
    EXPECT_EQ(now.sa_handler, before[i].sa_handler) << "signal " << i;
  }
}

int g_lost = 0;

TEST(LostConnection, IsToldByEveryCallWhichReturnsAtOnce) {
  Broker broker([](Broker& b) { b.hang_up(); });
  Context ctx = fake::connect(broker);
  ctx->connection_lost = [](ubus_context*) { ++g_lost; };
  broker.finish();
  const int fd = ctx->sock.fd;
  for (int i = 0; i < 1000; ++i) ubus_handle_event(ctx.get());
  EXPECT_EQ(g_lost, 1000);
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_FALSE(ctx->sock.error);
  EXPECT_EQ(ctx->sock.fd, fd);
}

TEST(LostConnection, IsWhatGarbageMakesAlthoughTheSocketIsOpen) {
  Broker broker([](Broker& b) {
    b.write(wire::from_hex("ffffffffffffffffffffffff") + fake::frame(UBUS_MSG_HELLO, 0, 7));
    EXPECT_TRUE(b.read().empty()) << "nothing is sent out of step";
  });
  Context ctx = fake::connect(broker);
  ctx->connection_lost = [](ubus_context*) { ++g_lost; };
  ASSERT_TRUE(fake::wait_input(ctx.get()));
  ubus_handle_event(ctx.get());
  ubus_handle_event(ctx.get());
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_EQ(g_lost, 2);
  Message message;
  EXPECT_EQ(ubus_send_event(ctx.get(), "x", message.head()), 2);
  ctx.reset();
}

constexpr ubus_method kMethods[] = {UBUS_METHOD_NOARG(
    "m", [](ubus_context*, ubus_object*, ubus_request_data*, const char*, blob_attr*) { return 0; })};

TEST(Reconnecting, AddsTheObjectsAgainWithNewIds) {
  const auto add = [](Broker& b, uint32_t id, uint32_t type_id) {
    const Bytes request = b.read();
    b.write(fake::data(request, [&](blob_buf* buf) {
      blob_put_u32(buf, UBUS_ATTR_OBJID, id);
      if (type_id != 0) blob_put_u32(buf, UBUS_ATTR_OBJTYPE, type_id);
    }));
    b.write(fake::status(request, 0));
    return fake::number_of(request, UBUS_ATTR_OBJTYPE);
  };
  Broker broker([&](Broker& b) {
    EXPECT_EQ(add(b, 5000, 6000), UINT32_MAX);
    EXPECT_EQ(add(b, 5001, 0), 6000U);
    b.accept_client();
    EXPECT_EQ(add(b, 7000, 8000), UINT32_MAX) << "the new broker does not know the type";
    EXPECT_EQ(add(b, 7001, 0), 8000U);
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  ubus_object_type type = UBUS_OBJECT_TYPE("t", kMethods);
  ubus_object objects[2] = {};
  for (ubus_object& object : objects) {
    object.name = "t";
    object.type = &type;
    ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  }
  EXPECT_EQ(ubus_reconnect(ctx.get(), "/nonexistent/bus"), 10);
  EXPECT_TRUE(ctx->sock.eof);
  EXPECT_EQ(ubus_remove_object(ctx.get(), &objects[0]), 2);
  ubus_handle_event(ctx.get());
  EXPECT_EQ(ubus_reconnect(ctx.get(), broker.path().c_str()), 0);
  EXPECT_FALSE(ctx->sock.eof);
  EXPECT_EQ(objects[0].id, 7000U);
  EXPECT_EQ(objects[1].id, 7001U);
  EXPECT_EQ(type.id, 8000U);
}

void answer_calls(Broker& b) {
  for (Bytes request = b.read(); !request.empty(); request = b.read()) {
    b.write(fake::data(request,
                       [&](blob_buf* buf) { blob_put_u32(buf, UBUS_ATTR_OBJID, fake::seq_of(request)); }));
    b.write(fake::status(request, 0));
  }
}

// Under the thread sanitizer this finds anything that contexts share.
TEST(Contexts, OfDifferentThreadsAreIndependent) {
  const auto work = [](const Broker& broker) {
    Context ctx = fake::connect(broker);
    for (uint32_t i = 1; i <= 300; ++i) {
      uint32_t id = 0;
      ASSERT_EQ(ubus_lookup_id(ctx.get(), "name", &id), 0);
      ASSERT_EQ(id, i);
      EXPECT_NE(std::string(ubus_strerror(static_cast<int>(1000 + i))).find(std::to_string(1000 + i)),
                std::string::npos);
    }
  };
  Broker first(answer_calls);
  Broker second(answer_calls);
  std::thread other([&] { work(first); });
  work(second);
  other.join();
}

TEST(Contexts, CanBeServedByAThreadOfTheirOwn) {
  Broker broker([](Broker& b) {
    b.answer_add(kObject);
    b.write(fake::invoke(1, 6000, kObject, "m"));
    EXPECT_EQ(fake::number_of(b.read(), UBUS_ATTR_STATUS), 0U);
    b.hang_up();
  });
  Context ctx = fake::connect(broker);
  ubus_object object{};
  object.methods = kMethods;
  object.n_methods = ARRAY_SIZE(kMethods);
  ASSERT_EQ(ubus_add_object(ctx.get(), &object), 0);
  std::thread service([&] {
    while (!ctx->sock.eof && fake::wait_input(ctx.get())) ctx->sock.cb(&ctx->sock, ULOOP_READ);
  });
  service.join();
  EXPECT_TRUE(ctx->sock.eof);
}

}  // namespace
