// The client library with the broker program.
#include "../support/broker_process.h"
#include "client.h"

namespace {

using namespace test;

class ClientAndBroker : public BrokerTest {
 protected:
  const Context client_ = connect_to(path_);
};

TEST_F(ClientAndBroker, ListsObjects) {
  RawClient owner(path_);
  owner.add_object("plugin");
  std::string listed;
  const auto note = [](ubus_context*, ubus_object_data* found, void* text) {
    *static_cast<std::string*>(text) += found->path;
  };
  EXPECT_EQ(ubus_lookup(client_.get(), nullptr, note, &listed), 0);
  EXPECT_EQ(listed, "plugin");
  EXPECT_EQ(ubus_lookup(client_.get(), "none*", note, &listed), 4);
}

TEST_F(ClientAndBroker, WatchesWhatOthersSend) {
  static std::vector<uint32_t> types;
  client_->monitor_cb = [](ubus_context*, uint32_t, blob_attr* frame) {
    blob_attr* fields[UBUS_MONITOR_MAX + 1];
    blob_parse(frame, fields, nullptr, UBUS_MONITOR_MAX + 1);
    types.push_back(blob_get_u32(fields[UBUS_MONITOR_TYPE]));
  };
  ASSERT_EQ(ubus_monitor_start(client_.get()), 0);
  RawClient(path_).request(frame(kPing, 1, 0, {}));
  ASSERT_EQ(ubus_monitor_stop(client_.get()), 0);
  EXPECT_EQ(types, (std::vector<uint32_t>{kHello, kPing, kData, kStatus}));
}

TEST_F(ClientAndBroker, WaitsForTheGreetingOfAStoppedBrokerNoLongerThanItSays) {
  kill(broker_.pid(), SIGSTOP);
  EXPECT_EQ(connect_to(path_), nullptr);
  EXPECT_EQ(errno, ETIMEDOUT);
}

}  // namespace
