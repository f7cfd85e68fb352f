#include "bus/comeback.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "base/handles.h"
#include "base/log.h"
#include "bus/work.h"

namespace {

using std::chrono::milliseconds;

// A plug-in is to be served within a second of the broker's start: the longest pause, and then the greeting.
constexpr milliseconds kFirstPause{20};
constexpr milliseconds kLongestPause{400};
constexpr milliseconds kGreetingLimit{200};

sockaddr_un address_of_broker(const ubus_context* bus) noexcept {
  sockaddr_un address{};
  socklen_t size = sizeof address - 1;  // Leaves the NUL that a path of full length comes without.
  if (getpeername(bus->sock.fd, reinterpret_cast<sockaddr*>(&address), &size) != 0) address = {};
  return address;
}

// Whether who connects there would wait without limit, and with the global lock held: a broker that was stopped
// still accepts connections, but does not greet them.
bool is_silent(const sockaddr_un& address) noexcept {
  const zel::Descriptor probe(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!probe) return true;  // Libubus would not get one either.
  if (connect(probe.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return errno == EAGAIN;  // So many are waiting that it accepts no more.
  }
  pollfd greeting{probe.get(), POLLIN, 0};
  return poll(&greeting, 1, kGreetingLimit.count()) != 1;
}

}  // namespace

namespace zel {

Comeback comeback;

void Comeback::keep(ubus_context* bus, Revive revive) noexcept {
  address_ = address_of_broker(bus);
  if (Connection* const place = find(nullptr)) *place = {bus, revive, false};
}

void Comeback::let_go(const ubus_context* bus) noexcept {
  if (Connection* const connection = find(bus)) *connection = {};
}

void Comeback::note_loss(const ubus_context* bus) noexcept {
  Connection* const connection = find(bus);
  if (connection == nullptr) return;  // One that the plug-in added to the loop.
  connection->is_lost = true;
  if (std::exchange(waiting_, true)) return;
  pause_ = kFirstPause;
  due_ = Clock::now() + pause_;
  ZEL_LOG(LOG_ERR, "[ZEL_SVC]", "bus lost, waiting for it!\n");
}

int Comeback::pause_ms() const noexcept {
  if (!waiting_) return -1;
  const auto left = std::chrono::ceil<milliseconds>(due_ - Clock::now()).count();
  return static_cast<int>(std::max<long long>(left, 0));
}

void Comeback::try_when_due(Loop* loop) noexcept {
  if (!waiting_ || Clock::now() < due_) return;
  waiting_ = is_silent(address()) || !revive_all(loop);
  pause_ = std::min(2 * pause_, kLongestPause);
  due_ = Clock::now() + pause_;
}

sockaddr_un Comeback::address() const noexcept {
  const GlobalSection section;
  return address_;
}

Comeback::Connection* Comeback::find(const ubus_context* bus) noexcept {
  const auto found = std::find_if(connections_.begin(), connections_.end(),
                                  [&](const Connection& connection) { return connection.bus == bus; });
  return found != connections_.end() ? &*found : nullptr;
}

// Whether none is lost any more: each was made anew, or released meanwhile.
bool Comeback::revive_all(Loop* loop) noexcept {
  const BusSection section;
  bool all = true;
  for (Connection& connection : connections_) {
    if (connection.is_lost && !make_anew(&connection, loop)) all = false;  // The others do without it.
  }
  if (!all) return false;
  const bool any = std::any_of(connections_.begin(), connections_.end(),
                               [](const Connection& connection) { return connection.bus != nullptr; });
  if (any) ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "bus back!\n");
  return true;
}

bool Comeback::make_anew(Connection* connection, Loop* loop) noexcept {
  BusLink link = connect_bus();
  if (!link || !Loop::can_hold(link->sock.fd)) return false;
  ubus_context* const lost = connection->bus;
  ubus_context* const fresh = link.get();
  const Work work(lost);
  if (!connection->revive(lost, &link)) return false;
  loop->replace(lost, fresh->sock.fd, fresh);
  *connection = {fresh, connection->revive, false};
  address_ = address_of_broker(fresh);
  return true;
}

}  // namespace zel
