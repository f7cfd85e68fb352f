#include "loopback.h"

#include <signal.h>
#include <sys/resource.h>

#include <iostream>
#include <thread>

#include "../failure.h"
#include "body.h"
#include "crowd.h"
#include "owner.h"

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

// The library lets five wait, and who comes as the sixth tries again after a second.
void let_many_wait(socket_t socket) {
  listen(socket, SOMAXCONN);
}

// Shells hand down fewer than a connection and its answer's source need.
void allow_many_descriptors() {
  constexpr rlim_t kEnough = 4096;
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= kEnough) return;
  limit.rlim_cur = std::min(kEnough, limit.rlim_max);
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

LoopbackServer::LoopbackServer() {
  new_task_queue = [] { return new Crowd(kMostAtOnce); };
  // One request per connection, so that no idle client keeps a thread.
  set_keep_alive_max_count(1);
  set_tcp_nodelay(true);
  set_payload_max_length(kLongestBody);
  set_socket_options(reuse_port);
  explain_exceptions(this);
  keep_box_for_owner(this);
}

void LoopbackServer::route_unknown() {
  constexpr const char* kAll = ".*";
  const auto refuse = [this](const httplib::Request& request, httplib::Response& response) {
    response.status = kNoSuchPath;
    unknown_(request, response);
  };
  const auto refuse_body =
      with_body([refuse](const auto& request, const auto&, auto& response) { refuse(request, response); });
  Get(kAll, refuse);
  Options(kAll, refuse);
  Post(kAll, refuse_body);
  Put(kAll, refuse_body);
  Patch(kAll, refuse_body);
  Delete(kAll, refuse_body);
}

void LoopbackServer::bind(int port) {
  allow_many_descriptors();
  route_unknown();
  if (!bind_to_port("127.0.0.1", port))
    throw Failure("cannot listen at 127.0.0.1:" + std::to_string(port) +
                  "; is another server running there?");
  let_many_wait(svr_sock_);
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

}  // namespace routerbox
