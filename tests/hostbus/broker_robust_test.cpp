// What one client does to the broker must not reach the others.
#include <random>

#include "../support/broker_process.h"

namespace {

using namespace test;

class BrokerRobustness : public BrokerTest {
 protected:
  // A call and its answer between two clients that must go on working whatever a third one does.
  bool exchange() {
    caller_.send(call(object_));
    const Received call = service_.receive().value();
    const ByteString of_object = number(kObject, object_);
    service_.send(frame(kData, call.seq(), call.peer(), {of_object, attribute(kPayload, {})}));
    service_.send(frame(kStatus, call.seq(), call.peer(), {number(kCode, 0), of_object}));
    return caller_.receive().value().type() == kData && caller_.receive().value().type() == kStatus;
  }

  // Keeps sending what `make` gives, on a new connection whenever the broker has closed the last one.
  template <class Make>
  void pester(Make make) {
    RawClient pest(path_);
    for (int round = 0; round < 300; ++round) {
      if (!pest.try_send(make(), MSG_DONTWAIT)) pest = RawClient(path_);
      ASSERT_TRUE(exchange()) << "round " << round;
    }
  }

  RawClient service_{path_};
  RawClient caller_{path_};
  RawClient third_{path_};
  const uint32_t object_ = service_.add_object("service");
};

TEST_F(BrokerRobustness, RandomBytesFromOneClientDoNotDisturbOthers) {
  std::mt19937 random(1);
  const auto noise = [&](size_t size) {
    ByteString bytes(size);
    for (uint8_t& byte : bytes) byte = static_cast<uint8_t>(random());
    return bytes;
  };
  pester([&] { return noise(1 + random() % 4000); });
  pester([&] { return frame(random() % 12, 1, 0, {noise(4 * (random() % 100))}); });
  const ByteString signature = attribute(kSignature, {field(kTable, "m", {})});
  const ByteString sound[] = {frame(kAdd, 1, 0, {text(kPath, "n"), signature}), lookup("n*"),
                              registration(1025, "e"), event("e", 8),
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

TEST_F(BrokerRobustness, TheLargestFrameIsServedAndWhatWouldGrowOverTheLimitIsRefused) {
  const auto call_of = [&](size_t body) {
    return call(object_, {attribute(kPayload, {ByteString(body - (call(object_).size() - 8) - 4)})});
  };
  EXPECT_EQ(third_.request(frame(kPing, 1, 0, {ByteString(kMaxBody - 4)}))[0].bytes.size(), 8 + kMaxBody);
  EXPECT_EQ(third_.status_of(call_of(kMaxBody)), 2U) << "the caller's account is added";
  third_.send(call_of(kMaxBody - 200));
  EXPECT_GT(service_.receive().value().bytes.size(), kMaxBody - 200);
  const ByteString name = text(kPath, std::string(kMaxBody - 20, 'n'));
  EXPECT_EQ(third_.status_of(frame(kAdd, 1, 0, {name, attribute(kSignature, {})})), 2U)
      << "no listing could show it";
}

TEST_F(BrokerRobustness, AListenerThatStopsReadingLosesTheNewestAndGoesOnLater) {
  third_.listen_to("e");
  constexpr uint16_t kSent = 4000;
  for (int i = 0; i < kSent; ++i) ASSERT_EQ(caller_.status_of(event("e", 1000)), 0U);
  uint16_t read = 0;
  size_t bytes = 0;
  while (readable(third_.fd(), 300)) {
    const Received got = third_.receive().value();
    ASSERT_EQ(got.seq(), ++read) << "in order, without a gap";
    bytes += got.bytes.size();
  }
  EXPECT_LT(read, kSent);
  EXPECT_GT(bytes, kMaxBody - 2000) << "the queue takes one megabyte";
  EXPECT_LT(bytes, 2 * kMaxBody);
  ASSERT_EQ(caller_.status_of(event("e", 1000)), 0U);
  EXPECT_EQ(third_.receive().value().seq(), kSent + 1);
}

// The flood never waits, so a broker that emptied its socket first would never serve the others. The
// requests are few enough for the socket to take them whole or not at all.
TEST_F(BrokerRobustness, AFloodFromOneClientDoesNotStarveTheOthers) {
  for (int i = 0; i < 50; ++i) third_.add_object("flood." + std::to_string(i));
  std::jthread sender([&](const std::stop_token& stop) {
    const ByteString requests = joined(std::vector<ByteString>(500, frame(kLookup, 1, 0, {})));
    while (!stop.stop_requested()) third_.try_send(requests, MSG_DONTWAIT);
  });
  for (int i = 0; i < 100; ++i) EXPECT_TRUE(exchange());
}

}  // namespace
