// The client library with the broker program.
#include "../support/broker_process.h"
#include "client.h"

namespace {

using namespace test;

class ClientAndBroker : public BrokerTest {
 protected:
  static int handle(ubus_context*, ubus_object*, ubus_request_data*, const char*, blob_attr*) { return 42; }
  static constexpr ubus_method kMethods[] = {UBUS_METHOD_NOARG("m", handle)};

  ubus_object_type type_ = UBUS_OBJECT_TYPE("plugin", kMethods);
  ubus_object object_{};
  const Context owner_ = connect_to(path_);

  int publish() {
    object_.name = "plugin";
    object_.type = &type_;
    object_.methods = kMethods;
    object_.n_methods = ARRAY_SIZE(kMethods);
    return ubus_add_object(owner_.get(), &object_);
  }

  // What the object answers to a caller of its own.
  int answer() {
    RawClient caller(path_);
    caller.send(call(object_.id, {attribute(kPayload, {})}));
    if (!wait_input(owner_.get())) return -1;
    ubus_handle_event(owner_.get());
    return static_cast<int>(caller.receive().value().number(kCode).value());
  }
};

TEST_F(ClientAndBroker, ReconnectingBringsTheObjectsBackButNoPatterns) {
  ASSERT_EQ(publish(), 0);
  ubus_event_handler listener{};
  ASSERT_EQ(ubus_register_event_handler(owner_.get(), &listener, "news"), 0);
  const uint32_t old_id = object_.id;
  broker_.end(SIGKILL);
  EXPECT_EQ(ubus_reconnect(owner_.get(), path_.c_str()), 10) << "nobody is there";
  BrokerProcess again(path_);
  ASSERT_EQ(ubus_reconnect(owner_.get(), path_.c_str()), 0);
  EXPECT_FALSE(owner_->sock.eof);
  EXPECT_NE(object_.id, old_id);
  EXPECT_EQ(answer(), 42);
  EXPECT_EQ(RawClient(path_).status_of(event("news")), 0U);
  EXPECT_EQ(RawClient(path_).status_of(registration(listener.obj.id, "news")), 6U) << "its object is there";
  EXPECT_FALSE(readable(owner_->sock.fd, 50)) << "and hears nothing";
}

TEST_F(ClientAndBroker, ListsObjectsWithTheirMethods) {
  ASSERT_EQ(publish(), 0);
  std::string listed;
  const auto note = [](ubus_context*, ubus_object_data* found, void* text) {
    *static_cast<std::string*>(text) +=
        std::string(found->path) + "." + blobmsg_name(blob_first_child(found->signature));
  };
  EXPECT_EQ(ubus_lookup(owner_.get(), nullptr, note, &listed), 0);
  EXPECT_EQ(listed, "plugin.m");
  EXPECT_EQ(ubus_lookup(owner_.get(), "none*", note, &listed), 4);
}

TEST_F(ClientAndBroker, WatchesWhatOthersSend) {
  static std::vector<uint32_t> types;
  owner_->monitor_cb = [](ubus_context*, uint32_t, blob_attr* frame) {
    blob_attr* fields[UBUS_MONITOR_MAX + 1];
    blob_parse(frame, fields, nullptr, UBUS_MONITOR_MAX + 1);
    types.push_back(blob_get_u32(fields[UBUS_MONITOR_TYPE]));
  };
  ASSERT_EQ(ubus_monitor_start(owner_.get()), 0);
  RawClient(path_).request(frame(kPing, 1, 0, {}));
  ASSERT_EQ(ubus_monitor_stop(owner_.get()), 0);
  EXPECT_EQ(types, (std::vector<uint32_t>{kHello, kPing, kData, kStatus}));
}

TEST_F(ClientAndBroker, WaitsForTheGreetingOfAStoppedBrokerNoLongerThanItSays) {
  kill(broker_.pid(), SIGSTOP);
  EXPECT_EQ(connect_to(path_), nullptr);
  EXPECT_EQ(errno, ETIMEDOUT);
}

}  // namespace
