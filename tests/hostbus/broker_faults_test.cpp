// A broker that is ordered to misbehave.
#include "../support/broker_process.h"

namespace {

using namespace test;

class BrokerFaults : public BrokerTest {
 protected:
  // What the broker says to an order.
  std::string order(const std::string& words) const {
    const zel::Descriptor fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    sockaddr_un own = address_of("");
    const sockaddr_un broker = address_of(orders_);
    // The kernel finds a name for one that binds to none.
    EXPECT_EQ(bind(fd.get(), reinterpret_cast<sockaddr*>(&own), sizeof own.sun_family), 0);
    EXPECT_EQ(connect(fd.get(), reinterpret_cast<const sockaddr*>(&broker), sizeof broker), 0);
    char said[256] = {};
    EXPECT_EQ(send(fd.get(), words.data(), words.size(), 0), static_cast<ssize_t>(words.size()));
    EXPECT_GT(recv(fd.get(), said, sizeof said - 1, readable(fd.get()) ? 0 : MSG_DONTWAIT), 0);
    return said;
  }

  const std::string orders_ = directory_ + "/orders";
  const std::string bus_ = directory_ + "/faulty";
  BrokerProcess faulty_{bus_, {"--faults", orders_}};
};

TEST_F(BrokerFaults, DropsTheOwnerOfAnObjectOrAllConnectionsOfAProcess) {
  RawClient owner(bus_);
  RawClient other(bus_);
  owner.add_object("plugin");
  ASSERT_EQ(order("drop plugin"), "ok");
  EXPECT_FALSE(owner.receive());
  EXPECT_EQ(other.status_of(lookup("plugin")), 4U);
  ASSERT_EQ(order("drop " + std::to_string(getpid())), "ok");
  EXPECT_FALSE(other.receive());
}

TEST_F(BrokerFaults, PassesOnWhatIsOverTheLimitWithTheCallersAccount) {
  RawClient owner(bus_);
  RawClient caller(bus_);
  const uint32_t object = owner.add_object("plugin");
  const ByteString call = sized_call(object, object, "m", kMaxBody);
  EXPECT_EQ(caller.status_of(call), 2U);
  ASSERT_EQ(order("oversize on"), "ok");
  caller.send(call);
  EXPECT_GT(owner.receive().value().bytes.size(), 8 + kMaxBody);
}

TEST_F(BrokerFaults, SaysWhatIsWrongWithAnOrder) {
  for (const char* words : {"", "late", "late -1", "late 1x", "drop none", "oversize", "explode"}) {
    EXPECT_NE(order(words), "ok") << words;
  }
}

}  // namespace
