// What one client does to the broker must not reach the others.
#include <unistd.h>

#include <atomic>
#include <random>
#include <thread>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;
using std::chrono::milliseconds;

constexpr size_t kMaxBody = 1048576;

// A caller and a service that must go on working whatever a third client does.
class Pair {
 public:
  explicit Pair(const std::string& path)
      : service_(path), caller_(path), object_(service_.add_object("pair.service")) {}

  bool exchange() {
    caller_.send(call(object_));
    const auto call = service_.receive();
    if (!call || call->type() != kInvoke) return false;
    const ByteString of_object = number(kObject, object_);
    service_.send(frame(kData, call->seq(), call->peer(), {of_object, attribute(kPayload, {})}));
    service_.send(frame(kStatus, call->seq(), call->peer(), {number(kCode, 0), of_object}));
    const auto data = caller_.receive();
    const auto status = caller_.receive();
    return data && data->type() == kData && status && status->type() == kStatus;
  }

 private:
  RawClient service_;
  RawClient caller_;
  uint32_t object_;
};

class BrokerRobustness : public BrokerTest {
 protected:
  // Keeps sending what `make` gives, on a new connection whenever the broker has closed the last one.
  template <class Make>
  void pester(Make make) {
    RawClient pest(path_);
    for (int round = 0; round < 300; ++round) {
      if (!pest.send_at_once(make())) pest = RawClient(path_);
      ASSERT_TRUE(pair_.exchange()) << "round " << round;
    }
  }

  Pair pair_{path_};
};

RawClient listener_at(const std::string& path) {
  RawClient listener(path);
  EXPECT_EQ(listener.status_of(listen(listener.add_object(""), "e")), 0U);
  return listener;
}

TEST_F(BrokerRobustness, RandomBytesFromOneClientDoNotDisturbOthers) {
  std::mt19937 random(1);
  const auto noise = [&](size_t size) {
    ByteString bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
  };
  pester([&] { return noise(1 + random() % 4000); });
  pester([&] { return frame(static_cast<int>(random() % 12), 1, 0, {noise(4 * (random() % 100))}); });
  const ByteString method = field(kTable, "m", {number_field("x", 5)});
  const ByteString sound[] = {frame(kAdd, 1, 0, {text(kPath, "n"), attribute(kSignature, {method})}),
                              lookup("n*"), listen(1025, "e"), event("e", 8),
                              frame(kStatus, 1, 1030, {number(kCode, 0), number(kObject, 1030)})};
  pester([&] {
    ByteString spoiled = sound[random() % std::size(sound)];
    for (int i = 0; i < 3; ++i) {
      const size_t at = random() % spoiled.size();
      if (at < 8 || at > 11) spoiled[at] = static_cast<uint8_t>(random());  // it keeps its length
    }
    return spoiled;
  });
}

TEST_F(BrokerRobustness, FramesInPiecesAndJoinedOnesAreServedInOrder) {
  RawClient client(path_);
  for (const uint8_t byte : lookup("none")) {
    client.send({byte});
    ASSERT_TRUE(pair_.exchange());
  }
  EXPECT_TRUE(client.receive());
  std::vector<ByteString> pings;
  constexpr uint16_t kCount = 1000;
  for (uint16_t seq = 0; seq < kCount; ++seq) pings.push_back(frame(kPing, seq, 0, {}));
  client.send(joined(pings));
  for (uint16_t seq = 0; seq < kCount; ++seq) {
    const auto data = client.receive();
    const auto status = client.receive();
    ASSERT_TRUE(data && status && status->seq() == seq) << seq;
  }
}

TEST_F(BrokerRobustness, TheLargestFrameIsServedAndWhatWouldGrowOverTheLimitIsRefused) {
  RawClient service(path_);
  RawClient caller(path_);
  const uint32_t object = service.add_object("");
  const auto call_of = [&](size_t body) {
    return call(object, {attribute(kPayload, {ByteString(body - (call(object).size() - 8) - 4)})});
  };
  EXPECT_EQ(caller.request(frame(kPing, 1, 0, {ByteString(kMaxBody - 4)}))[0].bytes.size(), 8 + kMaxBody);
  EXPECT_EQ(caller.status_of(call_of(kMaxBody)), 2U) << "the caller's account is added";
  EXPECT_TRUE(service.waiting().empty());
  caller.send(call_of(kMaxBody - 200));
  const auto call = service.receive();
  ASSERT_TRUE(call);
  EXPECT_GT(call->bytes.size(), kMaxBody - 200);
  const auto add = [](size_t name) {
    return frame(kAdd, 1, 0, {text(kPath, std::string(name, 'n')), attribute(kSignature, {})});
  };
  EXPECT_EQ(caller.status_of(add(kMaxBody - 20)), 2U) << "no listing could show it";
  ASSERT_EQ(caller.status_of(add(kMaxBody - 200)), 0U);
  EXPECT_EQ(caller.request(lookup("n*")).at(0).text(kPath).size(), kMaxBody - 200);
}

TEST_F(BrokerRobustness, AListenerThatStopsReadingLosesTheNewestAndGoesOnLater) {
  RawClient listener = listener_at(path_);
  RawClient sender(path_);
  constexpr uint16_t kSent = 4000;
  for (int i = 0; i < kSent; ++i) ASSERT_EQ(sender.status_of(event("e", 1000)), 0U);
  ASSERT_TRUE(pair_.exchange());
  uint16_t read = 0;
  size_t bytes = 0;
  while (readable(listener.fd(), milliseconds(300))) {
    const auto got = listener.receive();
    ASSERT_TRUE(got);
    ASSERT_EQ(got->seq(), ++read) << "in order, without a gap";
    bytes += got->bytes.size();
  }
  EXPECT_LT(read, kSent);
  EXPECT_GT(bytes, kMaxBody - 2000) << "the queue takes one megabyte";
  EXPECT_LT(bytes, 2 * kMaxBody);
  ASSERT_EQ(sender.status_of(event("e", 1000)), 0U);
  const auto next = listener.receive();
  ASSERT_TRUE(next);
  EXPECT_EQ(next->seq(), kSent + 1);
}

TEST_F(BrokerRobustness, ALargeFrameIsQueuedWholeForAListenerThatReadsLate) {
  RawClient listener = listener_at(path_);
  RawClient sender(path_);
  for (const size_t size : {kMaxBody - 400, size_t{10}}) ASSERT_EQ(sender.status_of(event("e", size)), 0U);
  const auto large = listener.receive();
  const auto small = listener.receive();
  ASSERT_TRUE(large && small);
  EXPECT_GT(large->bytes.size(), kMaxBody - 400);
  EXPECT_LT(small->bytes.size(), 100U);
}

TEST_F(BrokerRobustness, AnIdleClientKeepsNoLargeBuffer) {
  constexpr size_t kClients = 100;
  const ByteString large = frame(kPing, 1, 0, {ByteString(kMaxBody - 4)});
  std::vector<RawClient> clients;
  const size_t before = broker_.stat(BrokerProcess::kResidentPages);
  for (size_t i = 0; i < kClients; ++i) {
    clients.emplace_back(path_);
    ASSERT_EQ(clients.back().status_of(large), 0U);
  }
  const size_t more = broker_.stat(BrokerProcess::kResidentPages) - before;
  EXPECT_LT(more * static_cast<size_t>(::getpagesize()), kClients * kMaxBody / 2);
}

TEST_F(BrokerRobustness, PeersThatVanishInTheMiddleOfAnythingLeaveNoTrace) {
  RawClient watcher(path_);
  const ByteString half = frame(kAdd, 1, 0, {text(kPath, "half")});
  for (auto end = half.begin(); end != half.end(); ++end) {
    RawClient client(path_);
    client.add_object("vanishing." + std::to_string(end - half.begin()));
    client.send({half.begin(), end});
  }
  const auto gone = [&] { return watcher.status_of(lookup("vanishing.*")) == 4; };
  for (int i = 0; i < 1000 && !gone(); ++i) ASSERT_TRUE(pair_.exchange());
  EXPECT_TRUE(gone());
}

// The flood never waits, so a broker that emptied its socket first would never serve the others.
TEST_F(BrokerRobustness, AFloodFromOneClientDoesNotStarveTheOthers) {
  RawClient flood(path_);
  for (int i = 0; i < 50; ++i) flood.add_object("flood." + std::to_string(i));
  std::atomic<bool> stop = false;
  std::thread sender([&] {
    const ByteString requests = joined(std::vector<ByteString>(10, frame(kLookup, 1, 0, {})));
    while (!stop) flood.send_at_once(requests);
  });
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(pair_.exchange());
  stop = true;
  sender.join();
}

TEST_F(BrokerRobustness, TwoHundredClientsAreServedAndOneEventReachesThemAll) {
  std::vector<RawClient> clients;
  for (int i = 0; i < 200; ++i) clients.push_back(listener_at(path_));
  ASSERT_EQ(RawClient(path_).status_of(event("e")), 0U);
  for (RawClient& client : clients) EXPECT_EQ(client.waiting().size(), 1U);
}

TEST(BrokerDescriptors, WithoutAFreeOneTheBrokerWaitsQuietlyAndTheWaitingAreServedLater) {
  const ScratchDirectory directory;
  constexpr unsigned kFiles = 40;
  auto broker = BrokerProcess::listening(directory / "bus", kFiles);
  const auto ticks = [&] {  // of a hundredth of a second
    return broker.stat(BrokerProcess::kUserTime) + broker.stat(BrokerProcess::kSystemTime);
  };
  Pair pair(directory / "bus");
  std::vector<RawClient> clients;
  for (unsigned i = 0; i < kFiles; ++i) clients.push_back(RawClient::ungreeted(directory / "bus"));
  // For half a second the last one is not greeted, while the others are served.
  const auto before = ticks();
  ASSERT_FALSE(readable(clients.back().fd(), milliseconds(500)));
  EXPECT_LT(ticks() - before, 10U);
  EXPECT_TRUE(pair.exchange());
  clients.erase(clients.begin(), clients.end() - 2);
  EXPECT_TRUE(clients.back().receive());
}

}  // namespace
