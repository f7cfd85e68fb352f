#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <string_view>

#include "message.h"

namespace hostbus {

class Client;

// Which objects want which events.
class Events {
 public:
  // A pattern that ends in '*' means every event that begins with the rest, any other only its equal.
  void listen(uint32_t object, Client& owner, std::string pattern);
  bool listens(uint32_t object, const std::string& pattern) const;
  void forget(uint32_t object);

  // Sends the event to each object that wants it, once, except those of `sender` (null: to all).
  void deliver(const char* name, Bytes data, const Client* sender);

 private:
  struct Listener {
    Client* owner = nullptr;
    std::set<std::string> patterns;
  };

  std::map<uint32_t, Listener> listeners_;  // by object
  uint16_t deliveries_ = 0;                 // numbers the frames, one for each listening object
};

bool event_matches(std::string_view pattern, std::string_view name);

}  // namespace hostbus
