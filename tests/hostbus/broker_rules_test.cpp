#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;

constexpr uint8_t kHello = 0, kStatus = 1, kData = 2, kPing = 3, kLookup = 4, kInvoke = 5, kAdd = 6,
                  kRemove = 7;
constexpr int kStatusAttr = 1, kPath = 2, kObject = 3, kMethod = 4, kType = 5, kSignature = 6, kPayload = 7;
constexpr int kNoReply = 10, kUser = 12, kGroup = 13;
constexpr int kTable = 2, kString = 3;
constexpr uint32_t kEvents = 1;

class BrokerRules : public testing::Test {
 protected:
  ScratchDirectory directory_;
  std::string path_ = directory_ / "bus";
  BrokerProcess broker_ = BrokerProcess::listening(path_);
};

ByteString lookup(std::string_view path) {
  return frame(kLookup, 1, 0, {text(kPath, path)});
}

ByteString event_call(std::string_view method, std::initializer_list<ByteString> fields) {
  return frame(kInvoke, 9, kEvents,
               {number(kObject, kEvents), text(kMethod, method), attribute(kPayload, fields)});
}

ByteString listen(uint32_t object, std::string_view pattern) {
  return event_call("register", {number_field("object", object), text_field("pattern", pattern)});
}

ByteString send_event(std::string_view name) {
  return event_call("send", {text_field("id", name), field(kTable, "data", number_field("n", 1))});
}

ByteString call(uint32_t object, std::initializer_list<ByteString> more = {}) {
  ByteString bytes;
  for (const ByteString& part : more) bytes.insert(bytes.end(), part.begin(), part.end());
  return frame(kInvoke, 7, object, {number(kObject, object), text(kMethod, "m"), bytes});
}

// Names shown by a lookup, in the order they came.
std::vector<std::string> listed(const std::vector<Received>& answers) {
  std::vector<std::string> names;
  for (const Received& answer : answers) {
    if (answer.type() == kData) names.push_back(answer.text(kPath));
  }
  return names;
}

// The frames that came before the answer to a ping.
std::vector<Received> waiting(RawClient& client) {
  auto frames = client.request(frame(kPing, 77, 0, {}));
  frames.resize(frames.size() - 2);
  return frames;
}

TEST_F(BrokerRules, EveryWrongRequestHasItsStatus) {
  RawClient owner(path_);
  RawClient other(path_);
  const uint32_t own = owner.add_object("own");
  const uint32_t foreign = other.add_object("foreign");
  const ByteString unterminated = attribute(kPath, {'o', 'w', 'n'});
  const struct {
    const char* why;
    ByteString request;
    int status;
  } cases[] = {
      {"greeting from a client", frame(kHello, 1, 0, {}), 1},
      {"subscribe", frame(8, 1, 0, {number(kObject, own), number(8, foreign)}), 1},
      {"unsubscribe", frame(9, 1, 0, {}), 1},
      {"notify", frame(10, 1, 0, {}), 1},
      {"monitor", frame(11, 1, 0, {}), 1},
      {"type 255", frame(255, 1, 0, {}), 1},
      {"lookup of the empty name", lookup(""), 2},
      {"lookup of an unknown name", lookup("none"), 4},
      {"wildcard without a match", lookup("none*"), 4},
      {"star in the middle is a character", lookup("o*n"), 4},
      {"lookup with a bad name lists all", frame(kLookup, 1, 0, {unterminated}), 0},
      {"call without method", frame(kInvoke, 1, 0, {number(kObject, foreign)}), 2},
      {"call without object", frame(kInvoke, 1, foreign, {text(kMethod, "m")}), 2},
      {"object id of two bytes", frame(kInvoke, 1, 0, {attribute(kObject, {0, 1}), text(kMethod, "m")}), 2},
      {"call of an unknown object", call(0x7ffffff1), 4},
      {"call of a system object we lack", call(2), 4},
      {"name taken by another", frame(kAdd, 1, 0, {text(kPath, "foreign")}), 2},
      {"name taken by oneself", frame(kAdd, 1, 0, {text(kPath, "own")}), 2},
      {"removal without object", frame(kRemove, 1, 0, {}), 2},
      {"removal of an unknown object", frame(kRemove, 1, 0, {number(kObject, 0x7ffffff1)}), 4},
      {"removal of a foreign object", frame(kRemove, 1, 0, {number(kObject, foreign)}), 6},
      {"removal of a system object", frame(kRemove, 1, 0, {number(kObject, 1)}), 6},
      {"unknown method of the event object", event_call("none", {}), 1},
      {"event call without data", frame(kInvoke, 1, 1, {number(kObject, 1), text(kMethod, "send")}), 2},
      {"pattern missing", event_call("register", {number_field("object", own)}), 2},
      {"pattern mistyped", event_call("register", {number_field("object", own), number_field("pattern", 1)}),
       2},
      {"object missing", event_call("register", {text_field("pattern", "a")}), 2},
      {"listening on a system object", listen(1023, "a"), 6},
      {"listening on an unknown object", listen(0x7ffffff1, "a"), 4},
      {"listening on a foreign object", listen(foreign, "a"), 6},
      {"empty pattern", listen(own, ""), 6},
      {"event without id", event_call("send", {field(kTable, "data", {})}), 2},
      {"event whose data is text", event_call("send", {text_field("id", "a"), text_field("data", "b")}), 2},
      {"the broker's own event", send_event("ubus.object.add"), 6},
      {"event of the empty name", send_event(""), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(owner.status_of(c.request), c.status) << c.why;
  EXPECT_TRUE(waiting(other).empty());
}

TEST_F(BrokerRules, AnswersCarryTheSequenceNumberAndPeerOfTheRequestWhateverItsVersionAndOuterId) {
  RawClient client(path_);
  ByteString request = frame(kPing, 0xabcd, 0x11223344, {number(3, 5)});
  request[0] = 9;
  request[8] = 0x85;
  const auto answers = client.request(request);
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0].number(3), 5U);
  for (const Received& answer : answers) {
    EXPECT_EQ(answer.seq(), 0xabcd);
    EXPECT_EQ(answer.peer(), 0x11223344U);
  }
}

TEST_F(BrokerRules, ListingsAreSortedAndLeaveOutWhatHasNoReadableSignature) {
  RawClient client(path_);
  for (const char* name : {"b", "a\xc3\xa4", "aZ", "", "c"}) {
    EXPECT_EQ(client.status_of(frame(kAdd, 1, 0, {text(kPath, name), attribute(kSignature, {})})), 0) << name;
  }
  const ByteString nameless_method = field(kTable, "", {});
  const ByteString cut_method = {0x82, 0, 0, 5, 9, 0, 0, 0};
  const struct {
    const char* name;
    ByteString more;
  } hidden[] = {{"aa", {}},
                {"ab", number(kType, 0x7ffffff1)},
                {"ac", attribute(kSignature, nameless_method)},
                {"ad", attribute(kSignature, cut_method)},
                {"ae", attribute(kSignature, {number(0, 1)})}};
  for (const auto& h : hidden) {
    const auto answers = client.request(frame(kAdd, 1, 0, {text(kPath, h.name), h.more}));
    ASSERT_EQ(answers.size(), 2U) << h.name;
    EXPECT_FALSE(answers[0].number(kType)) << h.name;
    EXPECT_EQ(client.status_of(frame(kAdd, 1, 0, {text(kPath, h.name)})), 2) << h.name;
    const auto looked = client.request(lookup(h.name));
    EXPECT_EQ(looked.size(), 1U) << h.name;
    EXPECT_EQ(looked[0].number(kStatusAttr), 0U) << h.name;
  }
  using Names = std::vector<std::string>;
  EXPECT_EQ(listed(client.request(frame(kLookup, 1, 0, {}))), (Names{"", "aZ", "a\xc3\xa4", "b", "c"}));
  EXPECT_EQ(listed(client.request(lookup("a*"))), (Names{"aZ", "a\xc3\xa4"}));
  EXPECT_EQ(listed(client.request(lookup("*"))), (Names{"", "aZ", "a\xc3\xa4", "b", "c"}));
}

TEST_F(BrokerRules, ATypeIsSharedByItsObjectsAndGoesWithTheLast) {
  RawClient client(path_);
  const ByteString signature = attribute(kSignature, {field(kTable, "m", number_field("x", 5))});
  const auto first = client.request(frame(kAdd, 1, 0, {text(kPath, "a"), signature}));
  const auto type = first[0].number(kType);
  ASSERT_TRUE(type);
  const auto second = client.request(frame(kAdd, 2, 0, {text(kPath, "b"), number(kType, *type)}));
  EXPECT_FALSE(second[0].number(kType));
  const auto shown = client.request(lookup("b"));
  EXPECT_EQ(shown[0].number(kType), type);
  EXPECT_EQ(attribute(kSignature, *shown[0].payload(kSignature)), signature);

  const auto remove = [&](const Received& added) {
    return client.request(frame(kRemove, 3, 0, {number(kObject, *added.number(kObject))}))[0].number(kType);
  };
  EXPECT_FALSE(remove(first[0]));
  EXPECT_EQ(remove(second[0]), type);
  client.request(frame(kAdd, 4, 0, {text(kPath, "c"), number(kType, *type)}));
  EXPECT_EQ(client.request(lookup("c")).size(), 1U) << "the type is gone";
}

TEST_F(BrokerRules, ACallKeepsOnlyWhatTheOwnerMayTrust) {
  RawClient owner(path_);
  RawClient caller(path_);
  const uint32_t object = owner.add_object("");
  caller.send(call(object, {text(kUser, "forged"), number(kNoReply, 1), text(kGroup, "forged")}));
  const auto got = owner.receive();
  ASSERT_TRUE(got);
  EXPECT_EQ(got->type(), kInvoke);
  EXPECT_EQ(got->peer(), caller.id());
  EXPECT_NE(got->text(kUser), "forged");
  EXPECT_NE(got->text(kGroup), "forged");
  EXPECT_FALSE(got->payload(kNoReply));
  EXPECT_FALSE(got->payload(kPayload));
}

TEST_F(BrokerRules, OnlyTheOwnerAnswersAndIncompleteAnswersAreDropped) {
  RawClient owner(path_);
  RawClient caller(path_);
  RawClient stranger(path_);
  const uint32_t object = owner.add_object("");
  const auto status = [&](uint32_t peer) {
    return frame(kStatus, 3, peer, {number(kStatusAttr, 0), number(kObject, object)});
  };
  stranger.send(status(caller.id()));
  owner.send(frame(kStatus, 3, caller.id(), {number(kObject, object)}));
  owner.send(frame(kData, 3, caller.id(), {number(kObject, object)}));
  owner.send(frame(kStatus, 3, caller.id(), {number(kStatusAttr, 0)}));
  owner.send(status(0));
  owner.send(status(0x7ffffff1));
  EXPECT_TRUE(waiting(stranger).empty());
  EXPECT_TRUE(waiting(owner).empty());
  EXPECT_TRUE(waiting(caller).empty());
  owner.send(status(caller.id()));
  EXPECT_TRUE(waiting(owner).empty());
  const auto got = waiting(caller);
  ASSERT_EQ(got.size(), 1U);
  EXPECT_EQ(got[0].peer(), object);
}

TEST_F(BrokerRules, PatternsChooseEventsByTheirBeginning) {
  const struct {
    const char* pattern;
    const char* event;
    bool wanted;
  } cases[] = {
      {"zel.*", "zel.x", true}, {"zel.*", "zel.", true}, {"zel.*", "zel", false}, {"*", "", true},
      {"*", "any", true},       {"zel", "zel", true},    {"zel", "zel.x", false}, {"z*l", "zel", false},
      {"z*l", "z*l", true},     {"zel.x", "zel", false}, {"**", "*x", true},      {"**", "x", false},
  };
  RawClient sender(path_);
  for (const auto& c : cases) {
    RawClient listener(path_);
    const uint32_t object = listener.add_object("");
    ASSERT_EQ(listener.status_of(listen(object, c.pattern)), 0);
    ASSERT_EQ(sender.status_of(send_event(c.event)), 0);
    EXPECT_EQ(waiting(listener).size(), c.wanted ? 1U : 0U) << c.pattern << " and " << c.event;
  }
}

TEST_F(BrokerRules, EachListeningObjectGetsAnEventOnceAndTheSenderNever) {
  RawClient client(path_);
  RawClient sender(path_);
  const uint32_t twice = client.add_object("");
  const uint32_t once = client.add_object("");
  for (const char* pattern : {"a*", "*", "abc"}) ASSERT_EQ(client.status_of(listen(twice, pattern)), 0);
  ASSERT_EQ(client.status_of(listen(once, "abc")), 0);
  ASSERT_EQ(sender.status_of(listen(sender.add_object(""), "*")), 0);
  ASSERT_EQ(sender.request(send_event("abc")).size(), 1U);
  const auto got = waiting(client);
  ASSERT_EQ(got.size(), 2U);
  EXPECT_NE(got[0].number(kObject), got[1].number(kObject));
  for (const Received& event : got) {
    EXPECT_EQ(event.peer(), 0U);
    EXPECT_EQ(event.text(kMethod), "abc");
    EXPECT_EQ(attribute(kPayload, *event.payload(kPayload)), attribute(kPayload, number_field("n", 1)));
    EXPECT_FALSE(event.payload(kUser));
  }
  EXPECT_EQ(got[1].seq(), got[0].seq() + 1);
  client.request(frame(kRemove, 1, 0, {number(kObject, twice)}));
  sender.request(send_event("abc"));
  EXPECT_EQ(waiting(client).size(), 1U);
}

TEST_F(BrokerRules, AClientsObjectsGoWithItNewestFirst) {
  RawClient watcher(path_);
  ASSERT_EQ(watcher.status_of(listen(watcher.add_object(""), "ubus.object.remove")), 0);
  RawClient owner(path_);
  for (const char* name : {"b", "", "a", "c"}) {
    owner.add_object(name);
  }
  owner.close();
  std::string removed;
  for (int i = 0; i < 3; ++i) {
    const auto event = watcher.receive();
    ASSERT_TRUE(event);
    removed += static_cast<char>(event->payload(kPayload)->at(event->payload(kPayload)->size() - 4));
  }
  EXPECT_EQ(removed, "cab");
  EXPECT_EQ(watcher.status_of(lookup("a")), 4);
}

TEST_F(BrokerRules, OneAddingAnObjectHearsOfItBeforeTheAnswer) {
  RawClient client(path_);
  ASSERT_EQ(client.status_of(listen(client.add_object(""), "ubus.object.*")), 0);
  const auto added = client.request(frame(kAdd, 5, 0, {text(kPath, "x")}));
  ASSERT_EQ(added.size(), 3U);
  EXPECT_EQ(added[0].text(kMethod), "ubus.object.add");
  const auto removed = client.request(frame(kRemove, 6, 0, {number(kObject, *added[1].number(kObject))}));
  ASSERT_EQ(removed.size(), 3U);
  EXPECT_EQ(removed[0].text(kMethod), "ubus.object.remove");
}

// What was written just before the hang-up arrives with it, in one wake-up of the broker.
TEST_F(BrokerRules, ServesWhatWasWrittenJustBeforeAHangUp) {
  RawClient listener(path_);
  ASSERT_EQ(listener.status_of(listen(listener.add_object(""), "last.*")), 0);
  RawClient sender(path_);
  broker_.kill(SIGSTOP);
  sender.send(send_event("last.words"));
  sender.close();
  broker_.kill(SIGCONT);
  const auto got = listener.receive();
  ASSERT_TRUE(got);
  EXPECT_EQ(got->text(kMethod), "last.words");
}

TEST_F(BrokerRules, AHalfClosedClientGetsItsAnswersAndThenTheEnd) {
  RawClient client(path_);
  client.send(frame(kPing, 4, 0, {}));
  client.close_writing();
  EXPECT_TRUE(client.receive());
  EXPECT_TRUE(client.receive());
  EXPECT_TRUE(client.at_end());
}

TEST_F(BrokerRules, EveryUserMayDoEverythingAndIsNamedToTheOwnerByNumberIfItHasNoAccount) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as two users";
  constexpr unsigned kFirst = 54321, kSecond = 54322;
  RawClient service = RawClient::as_user(path_, kFirst);
  RawClient plugin = RawClient::as_user(path_, kSecond);
  const uint32_t object = service.add_object("service");
  ASSERT_NE(object, 0U);
  EXPECT_EQ(listed(plugin.request(lookup("service"))).size(), 1U);
  plugin.send(call(object));
  const auto got = service.receive();
  ASSERT_TRUE(got);
  EXPECT_EQ(got->text(kUser), "54322");
  EXPECT_EQ(got->text(kGroup), "54322");
  ASSERT_EQ(plugin.status_of(listen(plugin.add_object("plugin"), "a")), 0);
  EXPECT_EQ(service.status_of(send_event("a")), 0);
  EXPECT_EQ(waiting(plugin).size(), 1U);
}

}  // namespace
