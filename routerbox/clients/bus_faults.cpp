#include "bus_faults.h"

#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstring>

#include "../support/duration.h"
#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"

namespace routerbox {
namespace {

constexpr time_t kAnswerLimitSeconds = 2;

sockaddr_un address_of(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path, sizeof address.sun_path - 1);
  return address;
}

// To the box's own broker, which takes orders beside its bus.
void order(const std::string& words) {
  const Descriptor end(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  const sockaddr_un own = address_of(""), broker = address_of(kBusOrders);
  const timeval limit{kAnswerLimitSeconds, 0};
  char said[256];
  // The kernel finds a name for one that binds to none.
  const bool sent = bind(end.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own.sun_family) == 0 &&
                    setsockopt(end.get(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 &&
                    connect(end.get(), reinterpret_cast<const sockaddr*>(&broker), sizeof broker) == 0 &&
                    send(end.get(), words.data(), words.size(), 0) == static_cast<ssize_t>(words.size());
  if (!sent)
    throw Failure("this broker takes no orders to misbehave; only the box's own, hostbusd, does that", kNo);
  const ssize_t count = retry([&] { return recv(end.get(), said, sizeof said, 0); });
  if (count < 0) throw Failure("the broker does not take the order; is it stopped?", kTimedOut);
  const std::string answer(said, static_cast<size_t>(count));
  if (answer != "ok") throw Failure("the broker refuses: " + answer, kNo);
}

}  // namespace

struct BusFaults::Kind {
  const char* name;
  const char* value;    // that stands behind a colon; null: none
  const char* example;  // with its value
  void (BusFaults::*play)(const std::string& whom, const std::string& value);
};

const std::vector<BusFaults::Kind>& BusFaults::kinds() {
  static const std::vector<Kind> kKinds = {{"stop", nullptr, "stop", &BusFaults::stop},
                                           {"end", nullptr, "end", &BusFaults::end},
                                           {"late", "MS", "late:500ms", &BusFaults::be_late},
                                           {"drop", nullptr, "drop", &BusFaults::drop}};
  return kKinds;
}

void BusFaults::play(const std::string& whom, const std::string& text) {
  const size_t colon = text.find(':');
  const std::string name = text.substr(0, colon);
  const std::string value = colon == std::string::npos ? "" : text.substr(colon + 1);
  const auto kind =
      std::find_if(kinds().begin(), kinds().end(), [&](const Kind& row) { return name == row.name; });
  if (kind == kinds().end()) {
    std::vector<std::string> names;
    for (const Kind& row : kinds()) names.emplace_back(row.name);
    throw Failure("the bus has no fault of the kind '" + name + "'" + advice_for(name, names),
                  kWrongCommandLine);
  }
  if ((kind->value == nullptr) != (colon == std::string::npos))
    throw Failure(
        name + " takes " +
            (kind->value == nullptr ? "no value" : std::string(kind->value) + ", such as " + kind->example),
        kWrongCommandLine);
  if (name != "drop" && whom != "*")
    throw Failure(name + " is for all on the bus; write * in place of '" + whom + "'", kWrongCommandLine);
  (this->*kind->play)(whom, value);
  const std::lock_guard lock(mutex_);
  played_.push_back({{"method", whom}, {"kind", text}, {"played", 1}});
}

std::vector<std::string> BusFaults::written_kinds() {
  std::vector<std::string> written;
  for (const Kind& kind : kinds()) written.emplace_back(kind.example);
  return written;
}

Json BusFaults::list() const {
  const std::lock_guard lock(mutex_);
  return played_;
}

void BusFaults::clear() {
  for (const pid_t process : services_.processes_of("bus")) processes_.signal(process, SIGCONT);
  services_.start("bus");
  const std::lock_guard lock(mutex_);
  const auto is_late = [](const Json& fault) {
    return fault.at("kind").get<std::string>().starts_with("late");
  };
  if (std::any_of(played_.begin(), played_.end(), is_late)) order("late 0");
  played_ = Json::array();
}

pid_t BusFaults::broker() const {
  for (const Services::Row& row : services_.list())
    if (row.name == "bus" && row.state == Services::State::kRunning) return row.process;
  throw Failure("the broker does not run; routerbox start bus starts it", kNo);
}

void BusFaults::stop(const std::string&, const std::string&) {
  processes_.signal(broker(), SIGSTOP);
}

void BusFaults::end(const std::string&, const std::string&) {
  const pid_t process = broker();
  processes_.signal(process, SIGKILL);
  processes_.wait(process);
}

void BusFaults::be_late(const std::string&, const std::string& value) {
  const auto time = duration_from(value);
  if (!time) throw Failure("'" + value + "' is no time; write late:500ms or late:9s", kWrongCommandLine);
  order("late " + std::to_string(time->count()));
}

void BusFaults::drop(const std::string& whom, const std::string&) {
  const std::optional<size_t> place = plugins_.find(whom);
  if (!place)
    throw Failure("the box has no plug-in '" + whom + "'" + advice_for(whom, plugins_.names()), kNo);
  const Plugins::Row row = plugins_.row(*place);
  // Its program may be a child of what the box has started; whoever has the object is it for certain.
  order("drop " + (row.run.has_object ? row.run.object() : std::to_string(row.process)));
}

}  // namespace routerbox
