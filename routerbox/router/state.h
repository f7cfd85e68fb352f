// state.h: what the router knows about itself, one JSON document.
#pragma once
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "../http/json.h"

namespace routerbox::router {

// The document of state.json here, which is built in.
extern const std::string_view kBuiltInState;

// Members of the document, named as the router's answers name them:
//   WIFIStatus        array of networks
//   TransmissionRate  object of rates
//   WAN               object of the WAN_ members, which stand at the top of their answer
//   DiskInfo          array of partitions; UUID in one is for the box's blkid and in no answer
//   Info              object of names and versions
//   faults            array of faults to play from the start (http/fault.h, faults.h), may be missing
// Safe from any thread.
class State {
 public:
  // An empty `file` keeps the state in memory; one that does not exist is made with the built-in state.
  // Throws Failure for a file that cannot be used.
  explicit State(std::string file);

  Json read() const;
  // Applies `change` and saves. When either throws, the state is as before.
  void change(const std::function<void(Json&)>& change);

 private:
  void save(const Json& document) const;

  const std::string file_;
  mutable std::mutex mutex_;
  Json document_;  // guarded by mutex_
};

// The UUID of a partition, empty when the state has none.
std::string uuid_of(const Json& state, const std::string& partition);

}  // namespace routerbox::router
