#include "../support/broker_process.h"

namespace {

using namespace test;

class BrokerRules : public BrokerTest {
 protected:
  RawClient owner_{path_};
  RawClient other_{path_};
};

ByteString remove(uint32_t object) {
  return frame(kRemove, 1, 0, {number(kObject, object)});
}

ByteString subscription(size_t type, uint32_t subscriber, uint32_t target) {
  return frame(type, 1, 0, {number(kObject, subscriber), number(kTarget, target)});
}

ByteString watching(const std::string& method) {
  return frame(kInvoke, 1, 3, {number(kObject, 3), text(kMethod, method), attribute(kPayload, {})});
}

TEST_F(BrokerRules, EveryWrongRequestHasItsStatus) {
  const uint32_t own = owner_.add_object("own");
  const uint32_t foreign = other_.add_object("foreign");
  const uint32_t nobodys = 0x7ffffff1;
  const ByteString id = field(kString, "id", {terminated("a")});
  ByteString odd = lookup("none");
  odd[0] = 9;
  odd[8] = 0x85;
  const std::tuple<const char*, ByteString, uint32_t> rows[] = {
      {"another version and outer id are no fault", odd, 4},
      {"lookup of the empty name", lookup(""), 2},
      {"star in the middle is a character", lookup("o*n"), 4},
      {"lookup with a bad name lists all", frame(kLookup, 1, 0, {attribute(kPath, {{'o', 'w', 'n'}})}), 0},
      {"call without method", frame(kInvoke, 1, 0, {number(kObject, foreign)}), 2},
      {"object id of two bytes", frame(kInvoke, 1, 0, {attribute(kObject, {{0, 1}}), text(kMethod, "m")}), 2},
      {"removal of an unknown object", remove(nobodys), 4},
      {"removal of a foreign object", remove(foreign), 6},
      {"unknown method of the event object", event_call("none", {}), 1},
      {"pattern missing", event_call("register", {field(kNumber, "object", {word(own)})}), 2},
      {"listening on an unknown object", registration(nobodys, "a"), 4},
      {"listening on a foreign object", registration(foreign, "a"), 6},
      {"empty pattern", registration(own, ""), 6},
      {"event whose data is text", event_call("send", {id, field(kString, "data", {terminated("b")})}), 2},
      {"the broker's own event", event("ubus.object.add"), 6},
      {"subscription to nothing", subscription(kSubscribe, own, nobodys), 4},
      {"subscription of a foreign object", subscription(kSubscribe, foreign, own), 2},
      {"subscription to an own object", subscription(kSubscribe, own, own), 2},
      {"end of a subscription that is none", subscription(kUnsubscribe, own, foreign), 4},
      {"notification of a foreign object",
       frame(kNotify, 1, 0, {number(kObject, foreign), text(kMethod, "m")}), 6},
      {"end of watching that did not begin", watching("remove"), 4},
      {"unknown method of the watching object", watching("none"), 1},
  };
  for (const auto& [why, request, status] : rows) {
    const Received answer = owner_.request(request).back();
    EXPECT_EQ(answer.number(kCode), status) << why;
    EXPECT_EQ(answer.peer(), Received{request}.peer()) << why;
  }
  EXPECT_TRUE(other_.waiting().empty());
}

TEST_F(BrokerRules, OnlyTheOwnerAnswersAndIncompleteAnswersAreDropped) {
  RawClient stranger(path_);
  const ByteString of_object = number(kObject, owner_.add_object(""));
  const auto status = [&](uint32_t peer) { return frame(kStatus, 3, peer, {number(kCode, 0), of_object}); };
  stranger.send(status(other_.id()));
  owner_.send(frame(kStatus, 3, other_.id(), {of_object}));
  owner_.send(frame(kData, 3, other_.id(), {of_object}));
  owner_.send(frame(kStatus, 3, other_.id(), {number(kCode, 0)}));
  owner_.send(status(0x7ffffff1));
  for (RawClient* client : {&stranger, &owner_, &other_}) EXPECT_TRUE(client->waiting().empty());
  owner_.send(status(other_.id()));
  EXPECT_TRUE(owner_.waiting().empty());
  EXPECT_EQ(other_.waiting().size(), 1U);
}

TEST_F(BrokerRules, PatternsChooseEventsByTheirBeginning) {
  const std::tuple<const char*, const char*, bool> rows[] = {
      {"zel.*", "zel.x", true}, {"zel.*", "zel", false}, {"*", "", true},    {"zel", "zel.x", false},
      {"z*l", "zel", false},    {"z*l", "z*l", true},    {"**", "*x", true}, {"**", "x", false},
  };
  for (const auto& [pattern, name, wanted] : rows) {
    RawClient listener(path_);
    listener.listen_to(pattern);
    ASSERT_EQ(other_.status_of(event(name)), 0U);
    EXPECT_EQ(listener.waiting().size(), wanted ? 1U : 0U) << pattern << " and " << name;
  }
}

TEST_F(BrokerRules, SubscribersGetWhatTheOwnerNotifiesUntilEitherGoes) {
  const uint32_t target = owner_.add_object("target");
  const uint32_t subscriber = other_.add_object("");
  const auto told_active = [&] { return owner_.receive().value().payload(kActive).value(); };
  ASSERT_EQ(other_.status_of(subscription(kSubscribe, subscriber, target)), 0U);
  EXPECT_EQ(told_active(), ByteString{1});
  ASSERT_EQ(other_.status_of(subscription(kSubscribe, subscriber, target)), 0U) << "again changes nothing";

  const ByteString news = frame(kNotify, 5, target, {number(kObject, target), text(kMethod, "news")});
  const Received answer = owner_.request(news).back();
  EXPECT_EQ(answer.payload(kSubscribers), number(0, subscriber));
  const Received heard = other_.receive().value();
  EXPECT_EQ(heard.type(), kInvoke);
  EXPECT_EQ(heard.peer(), owner_.id());
  EXPECT_EQ(heard.number(kObject), subscriber);
  EXPECT_EQ(heard.text(kMethod), "news");
  const ByteString quiet = attribute(kNoReply, {{1}});
  owner_.send(frame(kNotify, 6, target, {number(kObject, target), text(kMethod, "quiet"), quiet}));
  EXPECT_EQ(other_.receive().value().text(kMethod), "quiet");
  EXPECT_TRUE(owner_.waiting().empty());

  ASSERT_EQ(other_.status_of(subscription(kUnsubscribe, subscriber, target)), 0U);
  EXPECT_EQ(told_active(), ByteString{0});
  ASSERT_EQ(other_.status_of(subscription(kSubscribe, subscriber, target)), 0U);
  owner_.close();
  const Received gone = other_.receive().value();
  EXPECT_EQ(gone.type(), kUnsubscribe);
  EXPECT_EQ(gone.number(kTarget), target);
}

TEST_F(BrokerRules, AWatcherSeesWhatOthersSendAndGet) {
  RawClient watcher(path_);
  ASSERT_EQ(watcher.status_of(watching("add")), 0U);
  EXPECT_EQ(watcher.status_of(watching("add")), 9U);
  owner_.request(lookup("none"));
  enum { kClient, kPeer, kSent, kSeq, kFrameType, kFrameData };
  const std::pair<uint8_t, uint32_t> rows[] = {{0, kLookup}, {1, kStatus}};
  for (uint16_t count = 1; const auto& [sent, type] : rows) {
    const Received seen = watcher.receive().value();
    EXPECT_EQ(seen.type(), kMonitor);
    EXPECT_EQ(seen.seq(), count++);
    EXPECT_EQ(seen.number(kClient), owner_.id());
    EXPECT_EQ(seen.payload(kSent), ByteString{sent});
    EXPECT_EQ(seen.number(kSeq), 1U);
    EXPECT_EQ(seen.number(kFrameType), type);
    EXPECT_EQ(seen.payload(kFrameData), sent == 0 ? text(kPath, "none") : number(kCode, 4));
  }
  ASSERT_EQ(watcher.status_of(watching("remove")), 0U);
  owner_.request(lookup("none"));
  EXPECT_TRUE(watcher.waiting().empty());
}

TEST_F(BrokerRules, AClientsObjectsGoWithItNewestFirst) {
  other_.listen_to("ubus.object.remove");
  for (const char* name : {"b", "", "a", "c"}) owner_.add_object(name);
  owner_.close();
  for (const char removed : {'c', 'a', 'b'}) {
    EXPECT_EQ(other_.receive().value().payload(kPayload).value().end()[-4], removed);
  }
  EXPECT_EQ(other_.status_of(lookup("a")), 4U);
}

// What was written just before the hang-up arrives with it, in one wake-up of the broker.
TEST_F(BrokerRules, ServesWhatWasWrittenJustBeforeAHangUp) {
  RawClient listener(path_);
  listener.listen_to("last.*");
  kill(broker_.pid(), SIGSTOP);
  owner_.send(event("last.words"));
  owner_.close();
  other_.send(lookup("none"));
  shutdown(other_.fd(), SHUT_WR);
  kill(broker_.pid(), SIGCONT);
  EXPECT_TRUE(listener.receive());
  EXPECT_TRUE(other_.receive());
  EXPECT_FALSE(other_.receive());
}

TEST_F(BrokerRules, EveryUserMayDoEverythingAndTheOwnerLearnsWhoCallsFromTheBrokerAlone) {
  // The broker sees who the process was when it connected.
  const bool root = geteuid() == 0;
  ASSERT_TRUE(!root || (setegid(54322) == 0 && seteuid(54321) == 0));
  RawClient plugin(path_);
  ASSERT_TRUE(!root || (seteuid(0) == 0 && setegid(0) == 0));
  plugin.add_object("plugin");
  plugin.listen_to("a");
  EXPECT_EQ(plugin.status_of(event("b")), 0U);
  plugin.send(call(owner_.add_object("service"), {text(kUser, "forged"), number(kNoReply, 1)}));
  const Received got = owner_.receive().value();
  EXPECT_FALSE(got.payload(kNoReply));
  EXPECT_EQ(got.peer(), plugin.id());
  EXPECT_NE(got.text(kUser), "forged");
  if (!root) GTEST_SKIP() << "needs root to act as a user without account, who is named by number";
  EXPECT_EQ(got.text(kUser), "54321");
  EXPECT_EQ(got.text(kGroup), "54322");
}

}  // namespace
