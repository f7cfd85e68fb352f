#include "objects.h"

#include <libubus.h>

#include <memory>

namespace routerbox {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kStopLimit(1000);
constexpr milliseconds kBetweenTries(2);

struct FreeConnection {
  void operator()(ubus_context* connection) const { ubus_free(connection); }
};

// In a process of its own: the bus library waits without limit for a broker that stays silent, and changes
// signal handling.
int find_object(const std::string& name) {
  while (true) {
    const std::unique_ptr<ubus_context, FreeConnection> bus(ubus_connect(nullptr));
    while (bus && !bus->sock.eof) {
      uint32_t id = 0;
      if (ubus_lookup_id(bus.get(), name.c_str(), &id) == 0) return 0;
      usleep(std::chrono::microseconds(kBetweenTries).count());
    }
    usleep(std::chrono::microseconds(kBetweenTries).count());
  }
}

}  // namespace

ObjectWait wait_for_object(Processes& processes, const std::string& name, pid_t owner,
                           std::chrono::milliseconds limit) {
  const pid_t finder = processes.start_task([&] { return find_object(name); });
  processes.serve([&] { return processes.ended(finder) || processes.ended(owner); }, limit);
  if (processes.ended(finder)) return ObjectWait::kFound;
  kill(finder, SIGKILL);
  processes.serve([&] { return processes.ended(finder).has_value(); }, kStopLimit);
  return processes.ended(owner) ? ObjectWait::kOwnerEnded : ObjectWait::kLimit;
}

}  // namespace routerbox
