// bus_faults.h: what the box's broker does wrong on demand.
#pragma once
#include <mutex>
#include <string>
#include <vector>

#include "../plugins/plugins.h"
#include "../processes/processes.h"
#include "../services/services.h"
#include "../support/json.h"

namespace routerbox {

// The kinds, of which the first two are for any broker, the others for the box's own:
//   stop      it goes on taking connections and requests, and answers nothing, until all faults are cleared
//   end       it is gone, until it is started or all faults are cleared
//   late:MS   everything is answered that much later, until all faults are cleared
//   drop      the connections of one plug-in are closed
// Safe from any thread. All throw Failure, with one of Status.
class BusFaults {
 public:
  BusFaults(Processes& processes, Services& services, const Plugins& plugins)
      : processes_(processes), services_(services), plugins_(plugins) {}

  // `whom` is a plug-in for drop, "*" for the others.
  void play(const std::string& whom, const std::string& kind);
  std::vector<std::string> plugins() const { return plugins_.names(); }
  // [{"method", "kind", "played"}], the oldest first.
  Json list() const;
  // As they are written: "late:500ms".
  static std::vector<std::string> written_kinds();
  void clear();

 private:
  struct Kind;
  static const std::vector<Kind>& kinds();

  pid_t broker() const;
  void stop(const std::string& whom, const std::string& value);
  void end(const std::string& whom, const std::string& value);
  void be_late(const std::string& whom, const std::string& value);
  void drop(const std::string& whom, const std::string& value);

  Processes& processes_;
  Services& services_;
  const Plugins& plugins_;
  mutable std::mutex mutex_;
  Json played_ = Json::array();  // guarded by mutex_
};

}  // namespace routerbox
