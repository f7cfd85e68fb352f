// What one client does to the broker must not reach the others.
#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <random>
#include <thread>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;
using std::chrono::milliseconds;

constexpr uint8_t kStatus = 1, kData = 2, kPing = 3, kLookup = 4, kInvoke = 5, kAdd = 6;
constexpr int kStatusAttr = 1, kPath = 2, kObject = 3, kMethod = 4, kSignature = 6, kPayload = 7;
constexpr int kTable = 2;
constexpr size_t kMaxBody = 1048576;

class BrokerRobustness : public testing::Test {
 protected:
  ScratchDirectory directory_;
  std::string path_ = directory_ / "bus";
  BrokerProcess broker_ = BrokerProcess::listening(path_);
};

ByteString event_call(std::string_view method, std::initializer_list<ByteString> fields) {
  return frame(kInvoke, 9, 1, {number(kObject, 1), text(kMethod, method), attribute(kPayload, fields)});
}

ByteString listen(uint32_t object) {
  return event_call("register", {number_field("object", object), text_field("pattern", "e")});
}

ByteString event(size_t padding) {
  return event_call(
      "send", {text_field("id", "e"), field(kTable, "data", text_field("p", std::string(padding, 'x')))});
}

// A caller and a service that must go on working whatever a third client does.
class Pair {
 public:
  explicit Pair(const std::string& path)
      : service_(path), caller_(path), object_(service_.add_object("pair.service")) {}

  bool exchange() {
    caller_.send(frame(kInvoke, ++seq_, object_, {number(kObject, object_), text(kMethod, "m")}));
    const auto call = service_.receive();
    if (!call || call->seq() != seq_) return false;
    service_.send(frame(kData, seq_, call->peer(), {number(kObject, object_), attribute(kPayload, {})}));
    service_.send(frame(kStatus, seq_, call->peer(), {number(kStatusAttr, 0), number(kObject, object_)}));
    const auto data = caller_.receive();
    const auto status = caller_.receive();
    return data && data->type() == kData && status && status->type() == kStatus && status->seq() == seq_;
  }

 private:
  RawClient service_;
  RawClient caller_;
  uint32_t object_;
  uint16_t seq_ = 0;
};

ByteString random_bytes(std::mt19937& random, size_t size) {
  ByteString bytes(size);
  for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
  return bytes;
}

// A sound frame with some of its bytes changed, the length of the whole excepted.
ByteString spoiled_frame(std::mt19937& random) {
  static const ByteString kSound[] = {
      frame(kAdd, 1, 0,
            {text(kPath, "n"), attribute(kSignature, {field(kTable, "m", number_field("x", 5))})}),
      frame(kLookup, 1, 0, {text(kPath, "n*")}),
      listen(1025),
      event(8),
      frame(kStatus, 1, 1030, {number(kStatusAttr, 0), number(kObject, 1030)}),
  };
  ByteString bytes = kSound[random() % std::size(kSound)];
  for (int i = 0; i < 3; ++i) {
    const size_t at = random() % bytes.size();
    if (at < 8 || at > 11) bytes[at] = static_cast<uint8_t>(random());
  }
  return bytes;
}

// Keeps sending what `make` gives, on a new connection whenever the broker has closed the last one.
template <class Make>
void pester(const std::string& path, Pair& pair, Make make) {
  RawClient pest(path);
  for (int round = 0; round < 300; ++round) {
    const ByteString bytes = make();
    if (pest.send_some(bytes.data(), bytes.size()) < bytes.size()) pest = RawClient(path);
    ASSERT_TRUE(pair.exchange()) << "round " << round;
  }
}

TEST_F(BrokerRobustness, RandomBytesFromOneClientDoNotDisturbOthers) {
  std::mt19937 random(1);
  Pair pair(path_);
  pester(path_, pair, [&] { return random_bytes(random, 1 + random() % 4000); });
  pester(path_, pair, [&] {
    const ByteString noise = random_bytes(random, 4 * (random() % 100));
    return frame(static_cast<uint8_t>(random() % 12), 1, 0, {noise});
  });
  pester(path_, pair, [&] { return spoiled_frame(random); });
}

TEST_F(BrokerRobustness, AnIncompleteFrameHoldsUpNobodyAndIsServedOnceComplete) {
  Pair pair(path_);
  RawClient slow(path_);
  const ByteString request = frame(kPing, 3, 0, {attribute(0, ByteString(40, 7))});
  for (const uint8_t& byte : request) {
    ASSERT_EQ(slow.send_some(&byte, 1), 1U);
    ASSERT_TRUE(pair.exchange());
  }
  EXPECT_TRUE(slow.receive());
  EXPECT_TRUE(slow.receive());
}

TEST_F(BrokerRobustness, JoinedFramesAreAllServedInOrder) {
  RawClient client(path_);
  ByteString joined;
  constexpr int kCount = 1000;
  for (uint16_t seq = 0; seq < kCount; ++seq) {
    const ByteString one = frame(kPing, seq, 0, {});
    joined.insert(joined.end(), one.begin(), one.end());
  }
  client.send(joined);
  for (uint16_t seq = 0; seq < kCount; ++seq) {
    const auto data = client.receive();
    const auto status = client.receive();
    ASSERT_TRUE(data && status);
    ASSERT_EQ(status->seq(), seq);
  }
}

TEST_F(BrokerRobustness, TheLargestFrameIsServedAndACallThatWouldGrowOverTheLimitIsRefused) {
  RawClient service(path_);
  RawClient caller(path_);
  const uint32_t object = service.add_object("");
  const auto call_of = [&](size_t body) {
    const ByteString start = frame(kInvoke, 2, object, {number(kObject, object), text(kMethod, "m")});
    return frame(kInvoke, 2, object,
                 {number(kObject, object), text(kMethod, "m"),
                  attribute(kPayload, ByteString(body - (start.size() - 8) - 4))});
  };
  const auto echo = caller.request(frame(kPing, 1, 0, {attribute(0, ByteString(kMaxBody - 8, 1))}));
  EXPECT_EQ(echo[0].bytes.size(), 8 + kMaxBody);
  EXPECT_EQ(caller.status_of(call_of(kMaxBody)), 2);
  EXPECT_TRUE(service.ping());
  caller.send(call_of(kMaxBody - 200));
  const auto call = service.receive();
  ASSERT_TRUE(call);
  EXPECT_EQ(call->payload(kPayload)->size(), call_of(kMaxBody - 200).size() - 32);
}

TEST_F(BrokerRobustness, AnObjectThatNoListingCouldShowIsRefused) {
  RawClient client(path_);
  const auto add = [](size_t name) {
    return frame(kAdd, 1, 0, {text(kPath, std::string(name, 'n')), attribute(kSignature, {})});
  };
  EXPECT_EQ(client.status_of(add(kMaxBody - 20)), 2);
  ASSERT_EQ(client.status_of(add(kMaxBody - 200)), 0);
  const auto listing = client.request(frame(kLookup, 1, 0, {}));
  ASSERT_EQ(listing.size(), 2U);
  EXPECT_EQ(listing[0].text(kPath).size(), kMaxBody - 200);
}

TEST_F(BrokerRobustness, AListenerThatStopsReadingLosesTheNewestAndGoesOnLater) {
  Pair pair(path_);
  RawClient listener(path_);
  RawClient sender(path_);
  ASSERT_EQ(listener.status_of(listen(listener.add_object(""))), 0);
  constexpr uint16_t kSent = 4000;
  for (int i = 0; i < kSent; ++i) {
    ASSERT_EQ(sender.status_of(event(1000)), 0);
    if (i % 100 == 0) {
      ASSERT_TRUE(pair.exchange());
    }
  }
  uint16_t read = 0;
  size_t bytes = 0;
  while (listener.readable(milliseconds(300))) {
    const auto got = listener.receive();
    ASSERT_TRUE(got);
    ASSERT_EQ(got->seq(), ++read) << "in order, without a gap";
    bytes += got->bytes.size();
  }
  EXPECT_LT(read, kSent);
  EXPECT_GT(bytes, kMaxBody - 2000) << "the queue takes one megabyte";
  EXPECT_LT(bytes, 2 * kMaxBody);
  ASSERT_EQ(sender.status_of(event(1000)), 0);
  const auto next = listener.receive();
  ASSERT_TRUE(next);
  EXPECT_EQ(next->seq(), kSent + 1);
}

TEST_F(BrokerRobustness, ALargeFrameIsQueuedWholeForAListenerThatReadsLate) {
  RawClient listener(path_);
  RawClient sender(path_);
  ASSERT_EQ(listener.status_of(listen(listener.add_object(""))), 0);
  const size_t size = kMaxBody - 400;
  ASSERT_EQ(sender.status_of(event(size)), 0);
  ASSERT_EQ(sender.status_of(event(10)), 0);
  const auto large = listener.receive();
  ASSERT_TRUE(large);
  EXPECT_GT(large->bytes.size(), size);
  const auto small = listener.receive();
  ASSERT_TRUE(small);
  EXPECT_LT(small->bytes.size(), 100U);
}

TEST_F(BrokerRobustness, AnIdleClientKeepsNoLargeBuffer) {
  constexpr size_t kClients = 100;
  const ByteString large = frame(kPing, 1, 0, {attribute(0, ByteString(kMaxBody - 8))});
  std::vector<RawClient> clients;
  const size_t before = broker_.resident_bytes();
  for (size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(path_);
    ASSERT_EQ(clients.back().status_of(large), 0);
  }
  EXPECT_LT(broker_.resident_bytes(), before + kClients * kMaxBody / 2);
}

TEST_F(BrokerRobustness, PeersThatVanishInTheMiddleOfAnythingLeaveNoTrace) {
  Pair pair(path_);
  RawClient watcher(path_);
  const ByteString half = frame(kAdd, 1, 0, {text(kPath, "half")});
  for (size_t size = 0; size <= half.size(); ++size) {
    RawClient client(path_);
    client.add_object("vanishing." + std::to_string(size));
    client.send_some(half.data(), size);
    client.close();
    ASSERT_TRUE(pair.exchange());
  }
  const auto gone = [&] {
    return watcher.status_of(frame(kLookup, 1, 0, {text(kPath, "vanishing.*")})) == 4;
  };
  for (int i = 0; i < 1000 && !gone(); ++i) ASSERT_TRUE(pair.exchange());
  EXPECT_TRUE(gone());
}

// The flood never waits, so a broker that emptied its socket first would never serve the others.
TEST_F(BrokerRobustness, AFloodFromOneClientDoesNotStarveTheOthers) {
  Pair pair(path_);
  RawClient flood(path_);
  for (int i = 0; i < 50; ++i) flood.add_object("flood." + std::to_string(i));
  std::atomic<bool> stop = false;
  std::thread sender([&] {
    ByteString requests;
    for (int i = 0; i < 500; ++i) {
      const ByteString one = frame(kLookup, 1, 0, {});
      requests.insert(requests.end(), one.begin(), one.end());
    }
    for (size_t done = 0; !stop;) {
      done = (done + flood.send_some(requests.data() + done, requests.size() - done)) % requests.size();
    }
  });
  for (int i = 0; i < 100; ++i) {
    EXPECT_TRUE(pair.exchange());
  }
  stop = true;
  sender.join();
}

TEST_F(BrokerRobustness, TwoHundredClientsAreServedAndOneEventReachesThemAll) {
  std::vector<RawClient> clients;
  for (int i = 0; i < 200; ++i) {
    clients.emplace_back(path_);
    ASSERT_EQ(clients.back().status_of(listen(clients.back().add_object(""))), 0);
  }
  RawClient sender(path_);
  ASSERT_EQ(sender.status_of(event(20)), 0);
  for (RawClient& client : clients) {
    const auto got = client.receive();
    ASSERT_TRUE(got);
    EXPECT_EQ(got->text(kMethod), "e");
  }
}

TEST(BrokerDescriptors, WithoutAFreeOneTheBrokerWaitsQuietlyAndTheWaitingAreServedLater) {
  const ScratchDirectory directory;
  const std::string path = directory / "bus";
  constexpr unsigned kFiles = 40;
  auto broker = BrokerProcess::listening(path, kFiles);
  Pair pair(path);
  std::vector<RawClient> clients;
  for (unsigned i = 0; i < kFiles; ++i) clients.push_back(RawClient::ungreeted(path));
  // For half a second the last one is not greeted, while the others are served.
  const auto before = broker.cpu();
  ASSERT_FALSE(clients.back().readable(milliseconds(500)));
  EXPECT_LT(broker.cpu() - before, milliseconds(100));
  EXPECT_TRUE(pair.exchange());
  clients.erase(clients.begin(), clients.end() - 2);
  const auto hello = clients.back().receive();
  ASSERT_TRUE(hello);
  EXPECT_EQ(hello->type(), 0);
}

}  // namespace
