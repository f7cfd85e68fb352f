#include "server.h"

#include <sys/resource.h>
#include <sys/signalfd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "start_error.h"

namespace hostbus {
namespace {

// Tokens of the poller below the ids of clients.
constexpr uint64_t kStopToken = 0;
constexpr uint64_t kListenToken = 1;

// One turn of a client: a flood from one holds up the others no longer than this.
constexpr size_t kBytesPerTurn = 65536;
constexpr int kFramesPerTurn = 16;
constexpr int kAcceptsPerTurn = 16;

// How soon to try again when there was no descriptor for a new client.
constexpr int kAcceptPauseMs = 100;

zel::Descriptor catch_stop_signals() {
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGHUP, SIG_IGN);  // on the bus it means "read your configuration again"; there is none
  sigset_t stop;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTERM);
  sigaddset(&stop, SIGINT);
  sigprocmask(SIG_BLOCK, &stop, nullptr);
  zel::Descriptor fd(signalfd(-1, &stop, SFD_NONBLOCK | SFD_CLOEXEC));
  if (!fd) throw StartError("no descriptor left for signals: raise the limit of open files");
  return fd;
}

void raise_descriptor_limit() {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

Server::Server(const Options& options)
    : stop_(catch_stop_signals()),
      socket_(options.socket_path, options.built_in_path),
      scratch_(kBytesPerTurn) {
  raise_descriptor_limit();
  if (!poller_.add(stop_.get(), EPOLLIN, kStopToken) || !poller_.add(socket_.fd(), EPOLLIN, kListenToken)) {
    throw StartError("the kernel cannot watch the socket: raise fs.epoll.max_user_watches");
  }
}

void Server::run() {
  epoll_event room[64];
  for (;;) {
    const auto events = poller_.wait(room, wait_ms());
    if (!accepting_) resume_accepting();
    const auto unfinished = std::exchange(unfinished_, {});
    for (const epoll_event& event : events) {
      if (!dispatch(event)) return;
    }
    for (const uint32_t id : unfinished) {
      if (Client* client = broker_.find(id)) take_turn(*client);
    }
  }
}

int Server::wait_ms() const {
  if (!unfinished_.empty()) return 0;
  return accepting_ ? -1 : kAcceptPauseMs;
}

bool Server::dispatch(const epoll_event& event) {
  switch (event.data.u64) {
    case kStopToken:
      return false;
    case kListenToken:
      accept_clients();
      return true;
    default:
      serve(static_cast<uint32_t>(event.data.u64), event.events);
      return true;
  }
}

void Server::accept_clients() {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    zel::Descriptor connection = socket_.accept();
    if (!connection) {
      // A connection that died while it waited is not the end of the row.
      if (errno == ECONNABORTED) continue;
      if (errno != EAGAIN) pause_accepting();
      return;
    }
    auto account = peer_account(connection.get());
    if (!account) continue;
    Client& client = broker_.admit(std::move(connection), std::move(*account), poller_);
    if (!client.watch()) broker_.release(client);
  }
}

// The waiting connection keeps the socket readable: without a pause the loop would spin on it.
void Server::pause_accepting() {
  poller_.modify(socket_.fd(), 0, kListenToken);
  accepting_ = false;
}

void Server::resume_accepting() {
  poller_.modify(socket_.fd(), EPOLLIN, kListenToken);
  accepting_ = true;
}

void Server::serve(uint32_t id, uint32_t events) {
  Client* client = broker_.find(id);
  if (client == nullptr) return;
  if ((events & EPOLLOUT) != 0) client->flush();
  // One with frames left from its last turn is in the row of the unfinished.
  if ((events & ~EPOLLOUT) != 0 && client->next() == Client::Next::kIncomplete) take_turn(*client);
}

void Server::take_turn(Client& client) {
  if (client.next() == Client::Next::kIncomplete && client.receive(scratch_) == Client::Input::kEnd) {
    broker_.release(client);
    return;
  }
  for (int i = 0; i < kFramesPerTurn && client.next() == Client::Next::kFrame; ++i) {
    broker_.handle(client, client.frame());
    client.drop_frame();
  }
  switch (client.next()) {
    case Client::Next::kIncomplete:
      client.trim_input();
      return;
    case Client::Next::kFrame:
      unfinished_.push_back(client.id());
      return;
    case Client::Next::kBad:
      broker_.release(client);
      return;
  }
}

}  // namespace hostbus
