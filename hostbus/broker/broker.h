#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>

#include "client.h"
#include "events.h"
#include "message.h"
#include "monitor.h"
#include "registry.h"
#include "subscriptions.h"

namespace hostbus {

// What the bus does with the messages of its clients. Every user may do everything.
class Broker {
 public:
  // --- broker.cpp: clients, and what becomes of their frames
  // Greets a new client.
  Client& admit(zel::Descriptor socket, Account account, Poller& poller);
  void greet(Client& client);
  Client* find(uint32_t id) const;
  void handle(Client& client, const Frame& frame);
  // Takes the client's objects away and closes its connection.
  void release(Client& client);

  // Shows more of the client's listing, which is gone when it is complete.
  void go_on_listing(Client& client);

  // Releases the owner of the object of that name, or all clients of the process of that number. False when
  // there is none.
  bool drop(const std::string& object_or_pid);
  // Whether calls that the account makes too long for their owner go on nevertheless.
  void pass_oversize_calls(bool pass) { passes_oversize_ = pass; }

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
  static void answer(Client& client, const Header& request, int status);
  static void answer_data(Client& client, const Header& request, const Body& body);
  int refuse(const Request& request);
  int pass_reply_on(const Request& request);
  int echo(const Request& request);
  // UBUS_STATUS_NO_MEMORY when too much is kept for the owner already.
  static int hold(Object& object, size_t bytes);

  // --- broker_objects.cpp: ADD_OBJECT, REMOVE_OBJECT, LOOKUP, SUBSCRIBE, UNSUBSCRIBE
  int add_object(const Request& request);
  int remove_object(const Request& request);
  int look_up(const Request& request);
  int subscribe(const Request& request);
  int unsubscribe(const Request& request);
  void take_out(uint32_t object, Body* answer);
  void announce(const char* event, const Object& object);
  void end_subscription(uint32_t subscriber, uint32_t target);
  void tell_owner_of_subscribers(uint32_t target, bool active);
  static void show(Client& client, const Header& request, const Object& object);

  // --- broker_calls.cpp: INVOKE, NOTIFY, and the bus's own objects
  int invoke(const Request& request);
  int notify(const Request& request);
  int pass_call_on(const Request& request, const Object& object, const char* method);
  int invoke_own(const Request& request, uint32_t object, std::string_view method);
  int register_pattern(const Request& request);
  int send_event(const Request& request);
  int add_monitor(const Request& request);
  int remove_monitor(const Request& request);

  Monitor monitor_;
  std::unordered_map<uint32_t, std::unique_ptr<Client>> clients_;
  Registry registry_;
  Events events_;
  Subscriptions subscriptions_;
  uint16_t subscription_frames_ = 0;  // numbers what is told about subscriptions
  bool passes_oversize_ = false;
};

}  // namespace hostbus
