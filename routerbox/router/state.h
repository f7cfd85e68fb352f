// state.h: what the router knows about itself, one JSON document.
#pragma once
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "../support/json.h"
#include "events.h"

namespace routerbox::router {

// The document of state.json here, which is built in.
extern const std::string_view kBuiltInState;

// Members of the document, named as the router's answers name them:
//   WIFIStatus        array of networks
//   TransmissionRate  object of rates
//   WAN               object of the WAN_ members, which stand at the top of their answer
//   DiskInfo          array of partitions; UUID in one is for the box's blkid and in no answer
//   Info              object of names and versions
//   DaemonInfo        object for the daemon's information file, may be missing
//   DaemonShell       object of texts that the daemon's script prints, by its arguments; may be missing
//   faults            array of faults to play from the start (http/fault.h, faults.h), may be missing
// What the file has of it, laid over the built-in state by a JSON merge patch, so that it needs no more than what
// differs, and null takes a member away; without the file the built-in state. Throws Failure for a file that cannot be
// used.
Json read_state(const std::string& file);

// The document while the router runs. Safe from any thread.
class State {
 public:
  // An empty `file` keeps the state in memory; any other is read and gets the whole.
  // `info_file` (may be empty) gets DaemonInfo at once and at every change, writable for all, as the router's
  // plug-ins open it so. Throws Failure for a file that cannot be used.
  State(std::string file, std::string info_file);

  Json read() const;
  // Applies `change` and saves. When either throws, the state is as before. Returns what a router would announce.
  std::vector<Event> change(const std::function<void(Json&)>& change);

 private:
  void save(const Json& document) const;
  void save_info(const Json& document) const;

  const std::string file_, info_file_;
  mutable std::mutex mutex_;
  Json document_;  // guarded by mutex_
};

// The UUID of a partition, empty when the state has none.
std::string uuid_of(const Json& state, const std::string& partition);

// What the daemon's script prints for its arguments, if the state knows.
std::optional<std::string> daemon_answer(const Json& state, const std::string& question);

}  // namespace routerbox::router
