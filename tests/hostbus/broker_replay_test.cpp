// The broker's side of the recorded exchanges: what the clients sent is sent again, and what the broker
// answers must be what was recorded, byte for byte, sequence numbers too. Only ids and accounts are its own.
#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "../support/broker_process.h"
#include "../support/raw_client.h"

namespace {

using namespace test;

// The recordings were made by root; an account with a name of another length has frames of another length.
wire::Frame for_this_account(wire::Frame frame) {
  const passwd* user = ::getpwuid(::geteuid());
  const group* group = ::getgrgid(::getegid());
  std::erase_if(frame.masks, [](const auto& mask) { return mask.name == "USER" || mask.name == "GROUP"; });
  const ByteString recorded = joined({text(kUser, "root"), text(kGroup, "root")});
  const ByteString own =
      joined({text(kUser, user != nullptr ? user->pw_name : std::to_string(::geteuid())),
              text(kGroup, group != nullptr ? group->gr_name : std::to_string(::getegid()))});
  const auto at = std::search(frame.bytes.begin(), frame.bytes.end(), recorded.begin(), recorded.end());
  if (at == frame.bytes.end()) return frame;
  const auto rest = frame.bytes.erase(at, at + static_cast<std::ptrdiff_t>(recorded.size()));
  frame.bytes.insert(rest, own.begin(), own.end());
  const ByteString size = word(static_cast<uint32_t>(frame.bytes.size() - 8));
  std::copy(size.begin(), size.end(), frame.bytes.begin() + 8);
  return frame;
}

class BrokerReplay : public BrokerTest {
 protected:
  void play(const std::string& file) {
    SCOPED_TRACE(file);
    for (const wire::Frame& frame : wire::load_capture(file)) {
      frame.to_broker ? send(frame) : expect(for_this_account(frame));
    }
    // The event of file 09 is delivered in file 10. Else no connection has got more than was recorded.
    if (file == "09-event-send.txt") return;
    for (auto& [name, client] : clients_) EXPECT_TRUE(client.waiting().empty()) << name;
  }

  RawClient& client(const std::string& name) {
    const auto found = clients_.find(name);
    if (found != clients_.end()) return found->second;
    RawClient& added = clients_.emplace(name, path_).first->second;
    bind("C." + name, added.id());
    return added;
  }

  void bind(const std::string& name, uint32_t id) { bindings_.bind(name, word(id)); }

 private:
  void send(const wire::Frame& frame) {
    if (frame.is_eof()) {
      clients_.erase(frame.connection);
      return;
    }
    client(frame.connection).send(wire::with_bindings(frame, bindings_, Received{frame.bytes}.seq()));
  }

  void expect(const wire::Frame& recorded) {
    if (!clients_.contains(recorded.connection)) {
      clients_.emplace(recorded.connection, RawClient::ungreeted(path_));
    }
    const auto seen = clients_.at(recorded.connection).receive();
    ASSERT_EQ(!seen, recorded.is_eof()) << recorded.connection;
    if (!seen) {
      clients_.erase(recorded.connection);
      return;
    }
    EXPECT_EQ(wire::difference(recorded, seen->bytes, bindings_), "");
    EXPECT_EQ(seen->seq(), Received{recorded.bytes}.seq());
  }

  std::map<std::string, RawClient> clients_;
  wire::Bindings bindings_;
};

TEST_F(BrokerReplay, EveryRecordedExchangeOfRootComesOutTheSame) {
  for (const char* file :
       {"01-hello.txt", "02-add-object.txt", "03-lookup.txt", "04-invoke-status-0.txt",
        "05-invoke-status-5.txt", "06-invoke-missing-method.txt", "07-lookup-missing-object.txt",
        "08-event-register.txt", "09-event-send.txt", "10-event-deliver.txt", "11-remove-object.txt"}) {
    play(file);
  }
  // The recordings leave out how svc added its object again, and how watcher began to listen.
  bind("O.svc-again", client("svc").add_object("zel_1001"));
  const uint32_t watching = client("watcher").add_object("");
  bind("O.watcher", watching);
  ASSERT_EQ(client("watcher").status_of(listen(watching, "ubus.object.*")), 0U);
  for (const char* file : {"12-disconnect.txt", "13-object-added-event.txt", "14-add-object-name-taken.txt",
                           "15-invoke-missing-object.txt", "16-invoke-empty-data.txt", "17-ping.txt",
                           "18-unknown-message-type.txt", "19-lookup-all.txt", "20-event-unregister.txt",
                           "21-lookup-wildcard.txt", "22-bad-length.txt"}) {
    play(file);
  }
}

}  // namespace
