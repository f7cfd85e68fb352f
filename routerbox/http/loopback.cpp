#include "loopback.h"

#include <signal.h>
#include <sys/resource.h>

#include <iostream>
#include <thread>

#include "../support/failure.h"
#include "crowd.h"

namespace routerbox {
namespace {

constexpr size_t kMostAtOnce = 1000;
constexpr int kNoSuchPath = 404;
constexpr int kBadRequest = 400;

void reuse_port(socket_t socket) {
  // Only the port of a server that has ended. The library's default would let two servers share it.
  const int yes = 1;
  setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
}

// Shells hand down fewer than a connection and its answer's source need.
void allow_many_descriptors() {
  constexpr rlim_t kEnough = 4096;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = std::min(kEnough, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

void explain_exceptions(httplib::Server* server) {
  server->set_exception_handler([](const auto&, auto& response, std::exception_ptr thrown) {
    response.status = kBadRequest;
    try {
      std::rethrow_exception(std::move(thrown));
    } catch (const std::exception& error) {
      response.set_content(std::string(error.what()) + "\n", "text/plain");
    }
  });
}

}  // namespace

void set_up(httplib::Server* server) {
  server->new_task_queue = [] { return new Crowd(kMostAtOnce); };
  // One request per connection, so that no idle client keeps a thread.
  server->set_keep_alive_max_count(1);
  server->set_tcp_nodelay(true);
  server->set_payload_max_length(kLongestBody);
  server->set_socket_options(reuse_port);
}

void bind_or_throw(httplib::Server* server, const char* address, int port) {
  allow_many_descriptors();
  if (!server->bind_to_port(address, port))
    throw Failure("cannot listen at " + std::string(address) + ":" + std::to_string(port) +
                  "; is another server running there?");
}

// The library lets five wait, and who comes as the sixth tries again after a second.
void let_many_wait(int socket) {
  listen(socket, SOMAXCONN);
}

LoopbackServer::LoopbackServer() {
  explain_exceptions(this);
}

void LoopbackServer::bind(int port, const char* address) {
  route_all(this, [this](const httplib::Request& request, const std::string&, httplib::Response& response) {
    response.status = kNoSuchPath;
    unknown_(request, response);
  });
  Loopback::bind(port, address);
}

void route_all(httplib::Server* server, const BodyHandler& handler) {
  constexpr const char* kAll = ".*";
  const auto without_body = [handler](const auto& request, auto& response) {
    handler(request, "", response);
  };
  server->Get(kAll, without_body);
  server->Options(kAll, without_body);
  server->Post(kAll, with_body(handler));
  server->Put(kAll, with_body(handler));
  server->Patch(kAll, with_body(handler));
  server->Delete(kAll, with_body(handler));
}

void serve_until_signal(const std::string& program, std::initializer_list<httplib::Server*> servers) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);  // before any thread, so that all inherit it
  for (httplib::Server* const server : servers)
    std::thread([&program, server] {
      server->listen_after_bind();
      std::cerr << program + ": cannot listen any more\n" << std::flush;
      _exit(1);
    }).detach();
  int number = 0;
  sigwait(&signals, &number);
  _exit(0);
}

}  // namespace routerbox
