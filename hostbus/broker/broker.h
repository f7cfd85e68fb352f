#pragma once

#include <cstdint>
#include <memory>
#include <unordered_map>

#include "client.h"
#include "events.h"
#include "message.h"
#include "registry.h"

namespace hostbus {

// What the bus does with the messages of its clients. Every user may do everything.
class Broker {
 public:
  // Greets a new client.
  Client& admit(zel::Descriptor socket, Account account, Poller& poller);
  Client* find(uint32_t id) const;
  void handle(Client& client, const Frame& frame);
  // Takes the client's objects away and closes its connection.
  void release(Client& client);

 private:
  struct Request {
    Client& client;
    const Frame& frame;
    Attributes attributes;

    const Header& header() const { return frame.header(); }
  };
  // The status to answer with, or kNoAnswer.
  using Handler = int (Broker::*)(const Request&);
  static constexpr int kNoAnswer = -1;

  static Handler handler_of(uint8_t type);
  int refuse(const Request& request);
  int pass_reply_on(const Request& request);
  int echo(const Request& request);
  int look_up(const Request& request);
  int invoke(const Request& request);
  int add_object(const Request& request);
  int remove_object(const Request& request);

  int invoke_events(const Request& request, const char* method);
  int register_pattern(Client& client, blob_attr* data);
  int send_event(Client& client, blob_attr* data);

  void take_out(uint32_t object, Body* answer);
  void announce(const char* event, const Object& object);
  static void answer_data(const Request& request, const Body& body);
  static void show(const Request& request, const Object& object);

  std::unordered_map<uint32_t, std::unique_ptr<Client>> clients_;
  Registry registry_;
  Events events_;
};

}  // namespace hostbus
