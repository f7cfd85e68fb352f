// What a client sends to the broker: the input comes from one that has said nothing yet. Another one owns an object
// that it can call, and listens to everything.
#include "broker/broker.h"

#include <sys/socket.h>

#include "broker/random_id.h"
#include "input.h"
#include "support/bus_frames.h"

namespace {

uint32_t next_id = 0;

}  // namespace

// Inputs can name what they need: ids are handed out in order.
uint32_t hostbus::random_id() {
  return next_id++;
}

namespace {

using namespace hostbus;
using test::ByteString;

// A client with both ends of its connection.
class Peer {
 public:
  explicit Peer(Broker* broker, Poller* poller) : broker_(broker) {
    int ends[2];
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0);
    own_ = zel::Descriptor(ends[0]);
    id_ = broker->admit(zel::Descriptor(ends[1]), Account{"user", "group"}, *poller).id();
    broker->greet(*client());
  }
  Peer(const Peer&) = delete;
  Peer& operator=(const Peer&) = delete;

  // The broker handles it as it does what a socket brings; one that sends no frames is released.
  void send(const ByteString& bytes) {
    size_t sent = 0;
    while (sent < bytes.size() && client() != nullptr) {
      const ssize_t count =
          ::send(own_.get(), bytes.data() + sent, bytes.size() - sent, MSG_DONTWAIT | MSG_NOSIGNAL);
      check(count > 0);
      sent += static_cast<size_t>(count);
      take();
    }
  }
  // What has come, a piece at a time.
  bool hear() {
    char heard[65536];
    return recv(own_.get(), heard, sizeof heard, MSG_DONTWAIT) > 0;
  }

 private:
  Client* client() const { return broker_->find(id_); }

  void take() {
    uint8_t scratch[65536];
    client()->receive(scratch);
    Client::Next next = client()->next();
    for (; next == Client::Next::kFrame; next = client()->next()) {
      broker_->handle(*client(), client()->frame());
      client()->drop_frame();
      while (client()->listing) go_on();
    }
    next == Client::Next::kBad ? broker_->release(*client()) : client()->trim_input();
  }

  void go_on() {
    hear();
    client()->flush();
    broker_->go_on_listing(*client());
  }

  Broker* broker_;
  zel::Descriptor own_;
  uint32_t id_ = 0;
};

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  next_id = kFirstFreeId;
  Poller poller;
  Broker broker;
  Peer other(&broker, &poller);  // 1024
  // A type, 1025, and an object of it, 1026.
  other.send(
      test::frame(test::kAdd, 1, 0, {test::text(test::kPath, "o"), test::attribute(test::kSignature, {})}));
  other.send(test::registration(1026, "*"));
  Peer client(&broker, &poller);  // 1027
  client.send(ByteString(data, data + size));
  while (other.hear()) continue;
  return 0;
}
