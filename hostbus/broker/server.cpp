#include "server.h"

#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <string_view>
#include <utility>

#include "start_error.h"

namespace hostbus {
namespace {

// Tokens of the poller below the ids of clients.
constexpr uint64_t kStopToken = 0;
constexpr uint64_t kListenToken = 1;
constexpr uint64_t kFaultsToken = 2;

// One turn of a client: a flood from one holds up the others no longer than this.
constexpr size_t kBytesPerTurn = 65536;
constexpr int kFramesPerTurn = 16;
constexpr int kAcceptsPerTurn = 16;

// How soon to try again when there was no descriptor for a new client.
constexpr int kAcceptPauseMs = 100;
constexpr int kLongestWaitMs = 60000;

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

const std::string& make_reachable(const Options& options) {
  if (options.built_in_path) make_directory_of(options.socket_path);
  return options.socket_path;
}

std::optional<FaultOrders> make_faults(const std::string& path) {
  if (path.empty()) return std::nullopt;
  return std::optional<FaultOrders>(std::in_place, path);
}

}  // namespace

Server::Server(const Options& options)
    : stop_(catch_stop_signals()),
      faults_(make_faults(options.faults_path)),
      socket_({SOCK_STREAM, 0666, "-s"}, make_reachable(options)),  // every user may connect
      scratch_(kBytesPerTurn) {
  raise_descriptor_limit();
  if (!poller_.add(stop_.get(), EPOLLIN, kStopToken) || !poller_.add(socket_.fd(), EPOLLIN, kListenToken) ||
      (faults_ && !poller_.add(faults_->fd(), EPOLLIN, kFaultsToken))) {
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
    take_due_steps();
  }
}

int Server::wait_ms() const {
  if (!unfinished_.empty()) return 0;
  if (postponed_.empty()) return accepting_ ? -1 : kAcceptPauseMs;
  const auto left =
      std::chrono::ceil<std::chrono::milliseconds>(postponed_.begin()->first - Clock::now()).count();
  return static_cast<int>(std::clamp<long long>(left, 0, accepting_ ? kLongestWaitMs : kAcceptPauseMs));
}

bool Server::dispatch(const epoll_event& event) {
  switch (event.data.u64) {
    case kStopToken:
      return false;
    case kListenToken:
      accept_clients();
      return true;
    case kFaultsToken:
      faults_->take(
          [this](const std::string& verb, const std::string& argument) { return obey(verb, argument); });
      return true;
    default:
      serve(static_cast<uint32_t>(event.data.u64), event.events);
      return true;
  }
}

void Server::accept_clients() {
  for (int i = 0; i < kAcceptsPerTurn; ++i) {
    zel::Descriptor connection(
        zel::retry([&] { return accept4(socket_.fd(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC); }));
    if (!connection) {
      // A connection that died while it waited is not the end of the row.
      if (errno == ECONNABORTED) continue;
      if (errno != EAGAIN) pause_accepting();
      return;
    }
    auto account = peer_account(connection.get());
    if (!account) continue;
    take(&Server::welcome, broker_.admit(std::move(connection), std::move(*account), poller_));
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
  if ((events & ~static_cast<uint32_t>(EPOLLIN)) != 0) client->flush();
  if (client->listing) return go_on(*client);
  // One with frames left from its last turn is in the row of the unfinished.
  const bool input = (events & ~static_cast<uint32_t>(EPOLLOUT)) != 0;
  if (input && client->next() == Client::Next::kIncomplete) take(&Server::take_turn, *client);
}

void Server::take(Step step, Client& client) {
  if (late_.count() == 0) return (this->*step)(client);
  client.stop_reading();
  postponed_.emplace(Clock::now() + late_, Postponed{client.id(), step});
}

void Server::take_due_steps() {
  while (!postponed_.empty() && postponed_.begin()->first <= Clock::now()) {
    const Postponed due = postponed_.extract(postponed_.begin()).mapped();
    Client* client = broker_.find(due.client);
    if (client != nullptr) (this->*due.step)(*client);
  }
}

void Server::welcome(Client& client) {
  broker_.greet(client);
  if (!client.read_on()) broker_.release(client);
}

// What the listing kept waiting has its turn with the end of it.
void Server::go_on(Client& client) {
  broker_.go_on_listing(client);
  if (!client.listing) take_turn(client);
}

void Server::take_turn(Client& client) {
  if (client.next() == Client::Next::kIncomplete && client.receive(scratch_) == Client::Input::kEnd) {
    broker_.release(client);
    return;
  }
  for (int i = 0; i < kFramesPerTurn && !client.listing && client.next() == Client::Next::kFrame; ++i) {
    broker_.handle(client, client.frame());
    client.drop_frame();
  }
  if (client.listing) return client.stop_reading();
  switch (client.next()) {
    case Client::Next::kIncomplete:
      client.trim_input();
      break;
    case Client::Next::kFrame:
      unfinished_.push_back(client.id());
      break;
    case Client::Next::kBad:
      broker_.release(client);
      return;
  }
  if (!client.read_on()) broker_.release(client);
}

std::string Server::obey(const std::string& verb, const std::string& argument) {
  static constexpr struct {
    std::string_view verb;
    std::string (Server::*order)(const std::string& argument);
  } kOrders[] = {
      {"late", &Server::be_late}, {"drop", &Server::drop}, {"oversize", &Server::pass_oversize_calls}};
  for (const auto& row : kOrders) {
    if (row.verb == verb) return (this->*row.order)(argument);
  }
  return "unknown order \"" + verb + "\": see hostbusd --help";
}

// What is postponed already comes when it was to come, or at once when nothing is to be late any more.
std::string Server::be_late(const std::string& milliseconds) {
  int late = -1;
  const char* end = milliseconds.data() + milliseconds.size();
  const auto read = std::from_chars(milliseconds.data(), end, late);
  if (read.ec != std::errc() || read.ptr != end || late < 0) {
    return "\"" + milliseconds + "\" is no number of milliseconds";
  }
  late_ = std::chrono::milliseconds(late);
  if (late > 0) return "";
  for (const auto& [due, waiting] : std::exchange(postponed_, {})) postponed_.emplace(Clock::now(), waiting);
  return "";
}

std::string Server::drop(const std::string& object_or_pid) {
  return broker_.drop(object_or_pid) ? "" : "no client has object or process id \"" + object_or_pid + "\"";
}

std::string Server::pass_oversize_calls(const std::string& on_or_off) {
  if (on_or_off != "on" && on_or_off != "off") return "oversize takes on or off, not \"" + on_or_off + "\"";
  broker_.pass_oversize_calls(on_or_off == "on");
  return "";
}

}  // namespace hostbus
