#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "broker.h"
#include "fault_orders.h"
#include "named_socket.h"
#include "options.h"
#include "poller.h"

namespace hostbus {

// The broker's one loop: waits for its sockets and gives every client its turn.
class Server {
 public:
  // Throws StartError.
  explicit Server(const Options& options);

  // Until SIGTERM or SIGINT.
  void run();

 private:
  using Clock = std::chrono::steady_clock;
  using Step = void (Server::*)(Client& client);

  void accept_clients();
  void pause_accepting();
  void resume_accepting();
  int wait_ms() const;
  // False when the broker shall end.
  bool dispatch(const epoll_event& event);
  void serve(uint32_t client, uint32_t events);

  // Steps of a client's life: at once, or later when the broker has been ordered to be late.
  void take(Step step, Client& client);
  void take_due_steps();
  void welcome(Client& client);
  void go_on(Client& client);
  void take_turn(Client& client);

  std::string obey(const std::string& verb, const std::string& argument);
  std::string be_late(const std::string& milliseconds);
  std::string drop(const std::string& object_or_pid);
  std::string pass_oversize_calls(const std::string& on_or_off);

  zel::Descriptor stop_;
  std::optional<FaultOrders> faults_;  // before the bus: who finds the bus finds this as well
  NamedSocket socket_;
  Poller poller_;
  Broker broker_;
  bool accepting_ = true;
  std::vector<uint32_t> unfinished_;  // clients whose input holds more frames than one turn handles
  std::vector<uint8_t> scratch_;

  struct Postponed {
    uint32_t client;
    Step step;
  };
  std::chrono::milliseconds late_{0};
  std::multimap<Clock::time_point, Postponed> postponed_;
};

}  // namespace hostbus
