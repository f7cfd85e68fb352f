#include "bus/connect.h"

#include <fcntl.h>

#include <cerrno>
#include <cstddef>

#include "bus/signals.h"

namespace {

// Libubus of 2014 would wait on for the answers, at full speed.
void finish_requests(ubus_context* bus) {
  for (list_head* at = bus->requests.next; at != &bus->requests; at = at->next) {
    auto* const request =
        reinterpret_cast<ubus_request*>(reinterpret_cast<char*>(at) - offsetof(ubus_request, list));
    if (request->status_msg) continue;
    request->status_msg = true;
    request->status_code = UBUS_STATUS_CONNECTION_FAILED;
  }
}

// A signal that interrupts a connect says nothing about the broker. So many in a row are those of a timer that is
// faster than a connect: it would never come to its end, with the lock held.
constexpr int kInterruptions = 1000;

ubus_context* connect_uninterrupted() noexcept {
  const zel::SignalKeeper keeper;
  for (int left = kInterruptions;; --left) {
    errno = 0;
    ubus_context* const bus = ubus_connect(nullptr);
    if (bus != nullptr || errno != EINTR || left == 0) return bus;
  }
}

}  // namespace

namespace zel {

void close_bus(ubus_context* bus) noexcept {
  // Calls may be queued: libubus of 2014 would leave the timer that is to run them in uloop's list.
  if (bus->pending_timer.pending) uloop_timeout_cancel(&bus->pending_timer);
  ubus_free(bus);
}

BusLink connect_bus() noexcept {
  BusLink bus(connect_uninterrupted());
  if (!bus) return bus;
  bus->sock.fd = behind_standard(Descriptor(bus->sock.fd)).release();
  fcntl(bus->sock.fd, F_SETFD, FD_CLOEXEC);
  bus->connection_lost = finish_requests;
  return bus;
}

}  // namespace zel
