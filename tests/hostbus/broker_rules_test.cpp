#include <sys/socket.h>
#include <unistd.h>

#include <csignal>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;

class BrokerRules : public BrokerTest {};

// Names shown by a lookup, each with a blank after it, in the order they came.
std::string listed(const std::vector<Received>& answers) {
  std::string names;
  for (const Received& answer : answers) {
    if (answer.type() == kData) names += answer.text(kPath) + " ";
  }
  return names;
}

TEST_F(BrokerRules, EveryWrongRequestHasItsStatus) {
  RawClient owner(path_);
  RawClient other(path_);
  const uint32_t own = owner.add_object("own");
  const uint32_t foreign = other.add_object("foreign");
  const uint32_t nobodys = 0x7ffffff1;
  const auto remove = [](uint32_t object) { return frame(kRemove, 1, 0, {number(kObject, object)}); };
  const struct {
    const char* why;
    ByteString request;
    uint32_t status;
  } cases[] = {
      {"greeting from a client", frame(kHello, 1, 0, {}), 1},
      {"subscribe", frame(8, 1, 0, {number(kObject, own), number(8, foreign)}), 1},
      {"monitor", frame(11, 1, 0, {}), 1},
      {"lookup of the empty name", lookup(""), 2},
      {"wildcard without a match", lookup("none*"), 4},
      {"star in the middle is a character", lookup("o*n"), 4},
      {"lookup with a bad name lists all", frame(kLookup, 1, 0, {attribute(kPath, {{'o', 'w', 'n'}})}), 0},
      {"call without method", frame(kInvoke, 1, 0, {number(kObject, foreign)}), 2},
      {"call without object", frame(kInvoke, 1, foreign, {text(kMethod, "m")}), 2},
      {"object id of two bytes", frame(kInvoke, 1, 0, {attribute(kObject, {{0, 1}}), text(kMethod, "m")}), 2},
      {"call of a system object we lack", call(2), 4},
      {"removal without object", frame(kRemove, 1, 0, {}), 2},
      {"removal of an unknown object", remove(nobodys), 4},
      {"removal of a foreign object", remove(foreign), 6},
      {"removal of a system object", remove(1), 6},
      {"unknown method of the event object", event_call("none", {}), 1},
      {"event call without data", frame(kInvoke, 1, 1, {number(kObject, 1), text(kMethod, "send")}), 2},
      {"pattern missing", event_call("register", {number_field("object", own)}), 2},
      {"object mistyped", event_call("register", {text_field("object", "a"), text_field("pattern", "a")}), 2},
      {"listening on a system object", listen(1023, "a"), 6},
      {"listening on an unknown object", listen(nobodys, "a"), 4},
      {"listening on a foreign object", listen(foreign, "a"), 6},
      {"empty pattern", listen(own, ""), 6},
      {"event without id", event_call("send", {field(kTable, "data", {})}), 2},
      {"event whose data is text", event_call("send", {text_field("id", "a"), text_field("data", "b")}), 2},
      {"the broker's own event", event("ubus.object.add"), 6},
      {"event of the empty name", event(""), 0},
  };
  for (const auto& c : cases) EXPECT_EQ(owner.status_of(c.request), c.status) << c.why;
  EXPECT_TRUE(other.waiting().empty());
}

TEST_F(BrokerRules, AnswersCarryTheSequenceNumberAndPeerOfTheRequestWhateverItsVersionAndOuterId) {
  ByteString request = frame(kPing, 0xabcd, 0x11223344, {number(3, 5)});
  request[0] = 9;
  request[8] = 0x85;
  const auto answers = RawClient(path_).request(request);
  ASSERT_EQ(answers.size(), 2U);
  EXPECT_EQ(answers[0].number(3), 5U);
  for (const Received& answer : answers) EXPECT_EQ(answer.peer(), 0x11223344U);
}

TEST_F(BrokerRules, ListingsAreSortedAndLeaveOutWhatHasNoReadableSignature) {
  RawClient client(path_);
  for (const char* name : {"b", "a\xc3\xa4", "aZ", "c"}) client.add_object(name);
  const struct {
    const char* name;
    ByteString more;
  } hidden[] = {{"aa", {}},
                {"ab", number(kType, 0x7ffffff1)},
                {"nameless method", attribute(kSignature, {field(kTable, "", {})})},
                {"cut method", attribute(kSignature, {{0x82, 0, 0, 5, 9, 0, 0, 0}})},
                {"plain attribute", attribute(kSignature, {number(0, 1)})}};
  for (const auto& h : hidden) {
    const auto answers = client.request(frame(kAdd, 1, 0, {text(kPath, h.name), h.more}));
    ASSERT_EQ(answers.size(), 2U) << h.name;
    EXPECT_FALSE(answers[0].number(kType)) << h.name;
    const auto looked = client.request(lookup(h.name));
    EXPECT_EQ(looked.size(), 1U) << h.name;
    EXPECT_EQ(looked[0].number(kCode), 0U) << h.name;
  }
  EXPECT_EQ(listed(client.request(frame(kLookup, 1, 0, {}))), "aZ a\xc3\xa4 b c ");
  EXPECT_EQ(listed(client.request(lookup("a*"))), "aZ a\xc3\xa4 ");
}

TEST_F(BrokerRules, ATypeIsSharedByItsObjectsAndGoesWithTheLast) {
  RawClient client(path_);
  const auto add = [&](const char* name, const ByteString& more) {
    return client.request(frame(kAdd, 1, 0, {text(kPath, name), more}))[0];
  };
  const ByteString signature = attribute(kSignature, {field(kTable, "m", {number_field("x", 5)})});
  const Received first = add("a", signature);
  const auto type = first.number(kType);
  ASSERT_TRUE(type);
  const Received second = add("b", number(kType, *type));
  EXPECT_FALSE(second.number(kType));
  const auto shown = client.request(lookup("b"));
  EXPECT_EQ(shown[0].number(kType), type);
  EXPECT_EQ(attribute(kSignature, {*shown[0].payload(kSignature)}), signature);
  const auto remove = [&](const Received& added) {
    return client.request(frame(kRemove, 3, 0, {number(kObject, *added.number(kObject))}))[0].number(kType);
  };
  EXPECT_FALSE(remove(first));
  EXPECT_EQ(remove(second), type);
  add("c", number(kType, *type));
  EXPECT_EQ(client.request(lookup("c")).size(), 1U) << "the type is gone";
}

TEST_F(BrokerRules, ACallKeepsOnlyWhatTheOwnerMayTrust) {
  RawClient owner(path_);
  RawClient caller(path_);
  const uint32_t object = owner.add_object("");
  caller.send(call(object, {text(kUser, "forged"), number(kNoReply, 1), text(kGroup, "forged")}));
  const auto got = owner.receive();
  ASSERT_TRUE(got);
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
  const ByteString of_object = number(kObject, owner.add_object(""));
  const auto status = [&](uint32_t peer) { return frame(kStatus, 3, peer, {number(kCode, 0), of_object}); };
  stranger.send(status(caller.id()));
  owner.send(frame(kStatus, 3, caller.id(), {of_object}));
  owner.send(frame(kData, 3, caller.id(), {of_object}));
  owner.send(frame(kStatus, 3, caller.id(), {number(kCode, 0)}));
  owner.send(status(0x7ffffff1));
  for (RawClient* client : {&stranger, &owner, &caller}) EXPECT_TRUE(client->waiting().empty());
  owner.send(status(caller.id()));
  EXPECT_TRUE(owner.waiting().empty());
  EXPECT_EQ(caller.waiting().size(), 1U);
}

TEST_F(BrokerRules, PatternsChooseEventsByTheirBeginning) {
  const struct {
    const char* pattern;
    const char* event;
    bool wanted;
  } cases[] = {
      {"zel.*", "zel.x", true}, {"zel.*", "zel", false}, {"*", "", true},    {"zel", "zel.x", false},
      {"z*l", "zel", false},    {"z*l", "z*l", true},    {"**", "*x", true}, {"**", "x", false},
  };
  RawClient sender(path_);
  for (const auto& c : cases) {
    RawClient listener(path_);
    ASSERT_EQ(listener.status_of(listen(listener.add_object(""), c.pattern)), 0U);
    ASSERT_EQ(sender.status_of(event(c.event)), 0U);
    EXPECT_EQ(listener.waiting().size(), c.wanted ? 1U : 0U) << c.pattern << " and " << c.event;
  }
}

TEST_F(BrokerRules, EachListeningObjectGetsAnEventOnceAndTheSenderNever) {
  RawClient client(path_);
  RawClient sender(path_);
  const uint32_t twice = client.add_object("");
  for (const char* pattern : {"a*", "*", "abc"}) ASSERT_EQ(client.status_of(listen(twice, pattern)), 0U);
  ASSERT_EQ(client.status_of(listen(client.add_object(""), "abc")), 0U);
  ASSERT_EQ(sender.status_of(listen(sender.add_object(""), "*")), 0U);
  ASSERT_EQ(sender.request(event("abc")).size(), 1U);
  const auto got = client.waiting();
  ASSERT_EQ(got.size(), 2U);
  EXPECT_NE(got[0].number(kObject), got[1].number(kObject));
  EXPECT_FALSE(got[0].payload(kUser));
  client.request(frame(kRemove, 1, 0, {number(kObject, twice)}));
  sender.request(event("abc"));
  EXPECT_EQ(client.waiting().size(), 1U);
}

TEST_F(BrokerRules, AClientsObjectsGoWithItNewestFirst) {
  RawClient watcher(path_);
  ASSERT_EQ(watcher.status_of(listen(watcher.add_object(""), "ubus.object.remove")), 0U);
  RawClient owner(path_);
  for (const char* name : {"b", "", "a", "c"}) owner.add_object(name);
  owner.close();
  for (const char removed : {'c', 'a', 'b'}) {
    const auto event = watcher.receive();
    ASSERT_TRUE(event);
    EXPECT_EQ(event->payload(kPayload)->end()[-4], removed);
  }
  EXPECT_EQ(watcher.status_of(lookup("a")), 4U);
}

// What was written just before the hang-up arrives with it, in one wake-up of the broker.
TEST_F(BrokerRules, ServesWhatWasWrittenJustBeforeAHangUp) {
  RawClient listener(path_);
  ASSERT_EQ(listener.status_of(listen(listener.add_object(""), "last.*")), 0U);
  RawClient sender(path_);
  RawClient half(path_);
  broker_.kill(SIGSTOP);
  sender.send(event("last.words"));
  sender.close();
  half.send(lookup("none"));
  ::shutdown(half.fd(), SHUT_WR);
  broker_.kill(SIGCONT);
  EXPECT_TRUE(listener.receive());
  EXPECT_TRUE(half.receive());
  EXPECT_FALSE(half.receive());
}

TEST_F(BrokerRules, EveryUserMayDoEverythingAndIsNamedToTheOwnerByNumberIfItHasNoAccount) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as two users";
  // The broker sees who the process was when it connected.
  const auto as_user = [&](unsigned user) {
    EXPECT_TRUE(::setegid(user) == 0 && ::seteuid(user) == 0);
    RawClient client(path_);
    EXPECT_TRUE(::seteuid(0) == 0 && ::setegid(0) == 0);
    return client;
  };
  RawClient service = as_user(54321);
  RawClient plugin = as_user(54322);
  const uint32_t object = service.add_object("service");
  EXPECT_EQ(listed(plugin.request(lookup("service"))), "service ");
  plugin.send(call(object));
  const auto got = service.receive();
  ASSERT_TRUE(got);
  EXPECT_EQ(got->text(kUser), "54322");
  EXPECT_EQ(got->text(kGroup), "54322");
  ASSERT_EQ(plugin.status_of(listen(plugin.add_object("plugin"), "a")), 0U);
  EXPECT_EQ(service.status_of(event("a")), 0U);
  EXPECT_EQ(plugin.waiting().size(), 1U);
}

}  // namespace
