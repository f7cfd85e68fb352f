#include "fault_orders.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <sstream>

namespace hostbus {

void FaultOrders::take(const Obey& obey) const {
  char order[256];
  sockaddr_un sender{};
  socklen_t size = sizeof sender;
  auto* from = reinterpret_cast<sockaddr*>(&sender);
  const ssize_t count = zel::retry([&] { return recvfrom(fd(), order, sizeof order, 0, from, &size); });
  if (count < 0) return;
  std::istringstream words(std::string(order, static_cast<size_t>(count)));
  std::string verb;
  std::string argument;
  words >> verb >> argument;
  const std::string wrong = obey(verb, argument);
  const std::string& answer = wrong.empty() ? "ok" : wrong;
  // One without an address does not want to know.
  sendto(fd(), answer.data(), answer.size(), MSG_NOSIGNAL, from, size);
}

}  // namespace hostbus
