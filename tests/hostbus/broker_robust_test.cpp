// What one client does to the broker must not reach the others.
#include "../support/broker_process.h"

namespace {

using namespace test;

// Of an object with one method, whose arguments take about that many bytes.
ByteString signature_of(size_t size) {
  return attribute(kSignature, {field(kTable, "m", {ByteString(size)})});
}

class BrokerRobustness : public BrokerTest {
 protected:
  // A call and its answer between two clients that must go on working whatever a third one does.
  void check_exchange(const std::string& when) {
    caller_.send(call(object_));
    const Received call = service_.receive().value();
    const ByteString of_object = number(kObject, object_);
    service_.send(frame(kData, call.seq(), call.peer(), {of_object, attribute(kPayload, {})}));
    service_.send(frame(kStatus, call.seq(), call.peer(), {number(kCode, 0), of_object}));
    EXPECT_EQ(caller_.receive().value().type(), kData) << "the answer, " << when;
    EXPECT_EQ(caller_.receive().value().type(), kStatus) << "its end, " << when;
  }

  RawClient service_{path_};
  RawClient caller_{path_};
  RawClient third_{path_};
  const uint32_t object_ = service_.add_object("service");
};

TEST_F(BrokerRobustness, WhatIsKeptForOneClientHasALimitThatRemovalGivesBack) {
  static const struct {
    const char* what;
    ByteString (*addition)(size_t nth);
    size_t most;
  } kCases[] = {{"signatures",
                 [](size_t nth) {
                   return frame(kAdd, 1, 0, {text(kPath, "s" + std::to_string(nth)), signature_of(60000)});
                 },
                 100},
                {"names",
                 [](size_t nth) {
                   const std::string name = std::string(60000, 'n') + std::to_string(nth);
                   return frame(kAdd, 1, 0, {text(kPath, name), attribute(kSignature, {})});
                 },
                 100},
                {"objects without a name", [](size_t) { return frame(kAdd, 1, 0, {}); }, 10000}};
  for (const auto& c : kCases) {
    const RawClient client(path_);
    std::vector<uint32_t> objects;
    for (std::vector<Received> answer; (answer = client.request(c.addition(objects.size()))).size() > 1;) {
      ASSERT_LT(objects.size(), c.most) << c.what;
      objects.push_back(answer[0].number(kObject).value());
    }
    EXPECT_EQ(client.status_of(c.addition(c.most)), 11U) << c.what << ": no memory";
    EXPECT_EQ(client.status_of(registration(objects[0], std::string(100000, 'p'))), 11U) << c.what;
    check_exchange(std::string("while one client has all it may have: ") + c.what);
    EXPECT_EQ(client.status_of(frame(kRemove, 1, 0, {number(kObject, objects[0])})), 0U) << c.what;
    EXPECT_EQ(client.status_of(c.addition(c.most)), 0U) << c.what;
  }
}

TEST_F(BrokerRobustness, AFrameThatDoesNotEndHoldsUpNobodyElse) {
  ByteString frame_of_a_megabyte = frame(kPing, 1, 0, {ByteString(kMaxBody - 4)});
  const auto rest = frame_of_a_megabyte.end() - 11;
  third_.send(ByteString(frame_of_a_megabyte.begin(), rest));
  check_exchange("before the frame's end");
  third_.send(ByteString(rest, frame_of_a_megabyte.end()));
  EXPECT_EQ(third_.receive().value().bytes.size(), 8 + kMaxBody);
}

// Three megabytes; a socket takes some 200 KB and the broker queues one.
TEST_F(BrokerRobustness, AListingLargerThanTheQueueComesWholeToASlowReader) {
  constexpr int kObjects = 60;
  for (int i = 10; i < 10 + kObjects; ++i) {
    ASSERT_EQ(
        service_.status_of(frame(kAdd, 1, 0, {text(kPath, "o" + std::to_string(i)), signature_of(50000)})),
        0U);
  }
  third_.send(joined({lookup("o*"), frame(kPing, 2, 0, {})}));
  check_exchange("before the listing is read");
  for (int i = 10; i < 10 + kObjects; ++i)
    EXPECT_EQ(third_.receive().value().text(kPath), "o" + std::to_string(i));
  EXPECT_EQ(third_.receive().value().number(kCode), 0U);
  EXPECT_TRUE(third_.waiting().size() > 0) << "the ping's answer follows";
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
  // The broker is at its next round once it has answered somebody else twice.
  const auto comes = [&] {
    for (int i = 0; i < 2; ++i) caller_.status_of(lookup("none"));
    return readable(third_.fd(), 0);
  };
  uint16_t read = 0;
  size_t bytes = 0;
  while (readable(third_.fd(), 0) || comes()) {
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
  for (int i = 0; i < 100; ++i) check_exchange(std::to_string(i) + " in the flood");
}

}  // namespace
