#include "loopback.h"

#include <signal.h>

#include <iostream>
#include <thread>

#include "../failure.h"

namespace routerbox {
namespace {

// Requests that hang hold a thread each.
constexpr size_t kThreads = 64;

void reuse_port(socket_t socket) {
  // Only the port of a server that has ended. The library's default would let two servers share it.
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

}  // namespace

LoopbackServer::LoopbackServer() {
  new_task_queue = [] { return new httplib::ThreadPool(kThreads); };
  // One request per connection, so that no idle client keeps a thread.
  set_keep_alive_max_count(1);
  set_tcp_nodelay(true);
  set_socket_options(reuse_port);
}

void LoopbackServer::bind(int port) {
  if (!bind_to_port("127.0.0.1", port))
    throw Failure("cannot listen at 127.0.0.1:" + std::to_string(port) +
                  "; is another server running there?");
}

void LoopbackServer::serve_until_signal(const std::string& program) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread, so that all inherit it
  std::thread([&] {
    listen_after_bind();
    std::cerr << program + ": cannot listen any more\n" << std::flush;
    _exit(1);
  }).detach();
  int number = 0;
  sigwait(&signals, &number);
  _exit(0);
}

}  // namespace routerbox
