// comeback.h: on the bus again when its broker comes back.
#pragma once

#include <sys/un.h>

#include <array>
#include <chrono>

#include "bus/connect.h"
#include "bus/loop.h"

namespace zel {

// Publishes on `fresh` what `lost` carried and puts it in its place: true with the two exchanged. False if the
// broker refuses, or if the plug-in has retired `lost` meanwhile. On the service thread, in a BusSection.
using Revive = bool (*)(ubus_context* lost, BusLink* fresh);

// The library's own connections, and which of them have lost their broker.
//
// Life: a connection is kept from keep() until let_go(). When the service thread finds its end, note_loss() has it
// made anew: after a pause, and then tried again after longer ones, until a broker is there.
// Lock: the global one, held by callers of the first three. The others are the service thread's own.
class Comeback {
 public:
  void keep(ubus_context* bus, Revive revive) noexcept;
  void let_go(const ubus_context* bus) noexcept;
  void note_loss(const ubus_context* bus) noexcept;

  // How long the service thread may wait for input, in milliseconds; -1 for without limit.
  int pause_ms() const noexcept;
  void try_when_due(Loop* loop) noexcept;

 private:
  using Clock = std::chrono::steady_clock;

  struct Connection {
    ubus_context* bus;  // Null: a free place.
    Revive revive;
    bool is_lost;
  };

  sockaddr_un address() const noexcept;
  Connection* find(const ubus_context* bus) noexcept;
  [[nodiscard]] bool revive_all(Loop* loop) noexcept;
  [[nodiscard]] bool make_anew(Connection* connection, Loop* loop) noexcept;

  std::array<Connection, Loop::kCapacity> connections_{};
  sockaddr_un address_{};  // The broker's, as it named itself to an earlier connection.

  // The service thread's.
  bool waiting_ = false;
  std::chrono::milliseconds pause_{};
  Clock::time_point due_{};
};

extern Comeback comeback;

}  // namespace zel
