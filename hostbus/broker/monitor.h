#pragma once

#include <cstdint>
#include <map>

#include "message.h"

namespace hostbus {

class Client;

// Attribute of a description beside those of enum ubus_monitor_attr: the client's user. The router's broker has none,
// and who does not know it passes over it.
inline constexpr int kMonitorUser = 15;

// The clients that watch what all others send and get.
class Monitor {
 public:
  // False when nothing changed.
  bool add(Client& watcher) { return watchers_.try_emplace(&watcher, uint16_t{0}).second; }
  bool remove(Client& watcher) { return watchers_.erase(&watcher) > 0; }

  // A frame that `client` sent (to_client false) or gets. One that its description would take over the limit
  // shows as a gap in the watchers' numbers.
  void show(const Client& client, const Header& header, Bytes body, bool to_client);

 private:
  std::map<Client*, uint16_t> watchers_;  // with the number of the last frame that each has got
};

}  // namespace hostbus
