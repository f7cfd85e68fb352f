#pragma once

#include <cstdint>
#include <vector>

#include "broker.h"
#include "listen_socket.h"
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
  void accept_clients();
  void pause_accepting();
  void resume_accepting();
  int wait_ms() const;
  // False when the broker shall end.
  bool dispatch(const epoll_event& event);
  void serve(uint32_t client, uint32_t events);
  void take_turn(Client& client);

  zel::Descriptor stop_;
  ListenSocket socket_;
  Poller poller_;
  Broker broker_;
  bool accepting_ = true;
  std::vector<uint32_t> unfinished_;  // clients whose input holds more frames than one turn handles
  std::vector<uint8_t> scratch_;
};

}  // namespace hostbus
