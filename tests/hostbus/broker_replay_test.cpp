// The broker's side of the recorded exchanges: what the clients sent is sent again, and what the broker
// answers must be what was recorded, byte for byte, sequence numbers too. Only ids and accounts are its own.
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <map>

#include "../support/broker_process.h"
#include "../support/raw_client.h"
#include "../support/wire_capture.h"

namespace {

using namespace test;

constexpr int kUserAttr = 12, kGroupAttr = 13;

std::string own_user() {
  const passwd* found = ::getpwuid(::geteuid());
  return found != nullptr ? found->pw_name : std::to_string(::geteuid());
}

std::string own_group() {
  const group* found = ::getgrgid(::getegid());
  return found != nullptr ? found->gr_name : std::to_string(::getegid());
}

ByteString id_bytes(uint32_t id) {
  return {static_cast<uint8_t>(id >> 24), static_cast<uint8_t>(id >> 16), static_cast<uint8_t>(id >> 8),
          static_cast<uint8_t>(id)};
}

// The recordings were made by root; an account with a name of another length has frames of another length.
wire::Frame for_this_account(wire::Frame frame) {
  for (auto mask = frame.masks.rbegin(); mask != frame.masks.rend(); ++mask) {
    if (mask->name != "USER" && mask->name != "GROUP") continue;
    const bool user = mask->name == "USER";
    const ByteString attribute = user ? text(kUserAttr, own_user()) : text(kGroupAttr, own_group());
    const auto begin = frame.bytes.begin() + static_cast<std::ptrdiff_t>(mask->offset - 4);
    frame.bytes.insert(frame.bytes.erase(begin, begin + 12), attribute.begin(), attribute.end());
  }
  std::erase_if(frame.masks, [](const auto& mask) { return mask.name == "USER" || mask.name == "GROUP"; });
  const ByteString size = id_bytes(static_cast<uint32_t>(frame.bytes.size() - 8));
  if (!frame.bytes.empty()) std::copy(size.begin(), size.end(), frame.bytes.begin() + 8);
  return frame;
}

class Replay {
 public:
  explicit Replay(std::string path) : path_(std::move(path)) {}

  void play(const std::string& file) {
    SCOPED_TRACE(file);
    for (const wire::Frame& frame : wire::load_capture(file)) step(frame);
    expect_silence();
  }

  void step(const wire::Frame& frame) {
    if (!frame.to_broker) return expect(for_this_account(frame));
    if (frame.is_eof()) {
      clients_.erase(frame.connection);
      return;
    }
    const auto seq = static_cast<uint16_t>(frame.bytes[2] << 8 | frame.bytes[3]);
    client(frame.connection).send(wire::with_bindings(frame, bindings_, seq));
  }

  // What the next frame on the connection is, or "EOF".
  void expect(const wire::Frame& recorded) {
    if (!clients_.contains(recorded.connection)) {
      clients_.emplace(recorded.connection, RawClient::ungreeted(path_));
    }
    RawClient& client = clients_.at(recorded.connection);
    const auto seen = client.receive();
    if (recorded.is_eof() || !seen) {
      EXPECT_EQ(!seen, recorded.is_eof()) << recorded.connection;
      clients_.erase(recorded.connection);
      return;
    }
    EXPECT_EQ(wire::difference(recorded, seen->bytes, bindings_), "");
    EXPECT_EQ(seen->seq(), Received{recorded.bytes}.seq());
  }

  RawClient& client(const std::string& name) {
    const auto found = clients_.find(name);
    if (found != clients_.end()) return found->second;
    return adopt(name, RawClient(path_));
  }
  RawClient& adopt(const std::string& name, RawClient client) {
    bindings_.bind("C." + name, id_bytes(client.id()));
    return clients_.insert_or_assign(name, std::move(client)).first->second;
  }
  void bind(const std::string& name, uint32_t id) { bindings_.bind(name, id_bytes(id)); }

 private:
  // No connection has got more than was recorded.
  void expect_silence() {
    for (auto& [name, client] : clients_) {
      EXPECT_EQ(client.request(frame(3, 0xfffe, 0, {})).size(), 2U) << "unexpected frames for " << name;
    }
  }

  std::string path_;
  std::map<std::string, RawClient> clients_;
  wire::Bindings bindings_;
};

class BrokerReplay : public testing::Test {
 protected:
  // Up to where svc removes its object. The recordings leave out how svc added it again, and how watcher
  // began to listen; nobody else listens meanwhile.
  void play_to_removal() {
    for (const char* file : {"01-hello.txt", "02-add-object.txt", "03-lookup.txt", "04-invoke-status-0.txt",
                             "05-invoke-status-5.txt", "06-invoke-missing-method.txt",
                             "07-lookup-missing-object.txt", "08-event-register.txt", "09-event-send.txt"}) {
      // The event of file 09 is delivered in file 10.
      if (std::string(file) != "09-event-send.txt") {
        replay_.play(file);
        continue;
      }
      for (const wire::Frame& sent : wire::load_capture(file)) replay_.step(sent);
    }
    replay_.play("10-event-deliver.txt");
    replay_.play("11-remove-object.txt");
  }

  void play_to_the_end() {
    play_to_removal();
    replay_.bind("O.svc-again", replay_.client("svc").add_object("zel_1001"));
    RawClient& watcher = replay_.client("watcher");
    const uint32_t object = watcher.add_object("");
    replay_.bind("O.watcher", object);
    ASSERT_EQ(watcher.status_of(frame(
                  5, 2, 1,
                  {number(3, 1), text(4, "register"),
                   attribute(7, {number_field("object", object), text_field("pattern", "ubus.object.*")})})),
              0);
    for (const char* file : {"12-disconnect.txt", "13-object-added-event.txt", "14-add-object-name-taken.txt",
                             "15-invoke-missing-object.txt", "16-invoke-empty-data.txt", "17-ping.txt",
                             "18-unknown-message-type.txt", "19-lookup-all.txt", "20-event-unregister.txt",
                             "21-lookup-wildcard.txt", "22-bad-length.txt"}) {
      replay_.play(file);
    }
  }

  ScratchDirectory directory_;
  std::string path_ = directory_ / "bus";
  BrokerProcess broker_ = BrokerProcess::listening(path_);
  Replay replay_{path_};
};

TEST_F(BrokerReplay, EveryRecordedExchangeOfRootComesOutTheSame) {
  play_to_the_end();
}

// The recorded broker had no access lists, which leaves a user who is not root very little. This one has
// none to have: what was refused there for want of a list is done here. All else is as recorded.
TEST_F(BrokerReplay, AUserWhoIsNotRootGetsWhatTheRecordedBrokerRefusedForWantOfAccessLists) {
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to act as another user";
  constexpr unsigned kNobody = 65534;
  play_to_the_end();
  auto recorded = wire::load_capture("23-unprivileged-peer.txt");
  replay_.adopt("nobody", RawClient::as_user(path_, kNobody));
  for (size_t line = 2; line <= recorded.size(); ++line) {
    SCOPED_TRACE("line " + std::to_string(line));
    wire::Frame& frame = recorded[line - 1];
    switch (line) {
      case 3: {  // the listing, which was left out
        wire::Frame shown = wire::load_capture("19-lookup-all.txt")[1];
        shown.connection = "nobody";
        std::copy_n(frame.bytes.begin() + 2, 2, shown.bytes.begin() + 2);
        replay_.expect(shown);
        break;
      }
      case 5: {  // the call, which was refused
        const auto call = replay_.client("svc2").receive();
        ASSERT_TRUE(call);
        EXPECT_EQ(call->peer(), replay_.client("nobody").id());
        EXPECT_NE(call->text(kUserAttr), "root");
        continue;
      }
      case 12:  // listening and sending, which were refused
      case 14:
        EXPECT_EQ(frame.bytes.back(), 6);
        frame.bytes.back() = 0;
        break;
      default:
        break;
    }
    replay_.step(frame);
  }
}

}  // namespace
