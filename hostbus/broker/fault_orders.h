#pragma once

#include <sys/socket.h>

#include <functional>
#include <string>

#include "named_socket.h"

namespace hostbus {

// Where tests order the broker to misbehave; see its --help. Not on the bus itself: one that is late could not
// be ordered to be in time again.
class FaultOrders {
 public:
  // What is wrong with the order, "" if it was carried out.
  using Obey = std::function<std::string(const std::string& verb, const std::string& argument)>;

  // Throws StartError.
  explicit FaultOrders(const std::string& path) : socket_({SOCK_DGRAM, 0600, "--faults"}, path) {}

  int fd() const { return socket_.fd(); }
  // Takes the waiting order and answers it.
  void take(const Obey& obey) const;

 private:
  NamedSocket socket_;
};

}  // namespace hostbus
