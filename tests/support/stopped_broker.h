// stopped_broker.h: the running broker, whichever program it is, stopped for as long as a scope lasts.
#pragma once

#include <csignal>

#include "raw_client.h"

namespace test {

// The process that listens on the socket; it must be in this pid namespace. 0 when nobody listens.
inline pid_t broker_of(const std::string& path) {
  ucred peer{};
  socklen_t size = sizeof peer;
  const zel::Descriptor fd = connected(path);
  return getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

// Connections to it succeed, requests are taken, and nothing is answered.
class StoppedBroker {
 public:
  explicit StoppedBroker(const std::string& path) : pid_(broker_of(path)) {
    if (pid_ == 0 || kill(pid_, SIGSTOP) != 0) throw std::runtime_error("no broker to stop at " + path);
  }
  ~StoppedBroker() { kill(pid_, SIGCONT); }
  StoppedBroker(const StoppedBroker&) = delete;
  StoppedBroker& operator=(const StoppedBroker&) = delete;

 private:
  const pid_t pid_;
};

}  // namespace test
