// exchange.h: what there is to do about the appids in one request and its answer.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "../support/json.h"
#include "appids.h"

namespace routerbox::downloads {

// A request is a call, a batch of calls, or either with system.multicall, which holds calls again. The real
// daemon takes the option "appid" without a complaint and forgets it; the router's reports it in every task
// entry, whatever keys were asked for, empty when there was none.
class Exchange {
 public:
  // Any text: one that is no JSON holds no calls. `data` is the folder that who asks sees as /data, and the daemon at
  // its place; empty: it has none.
  explicit Exchange(const std::string& request, std::string data = {});

  // What goes to the daemon: the request as it came. Only where it lists tasks without their "gid", this is
  // asked for as well, and taken out of the answer again; and below /data stands the daemon's name of that folder.
  const std::string& request() const { return request_; }
  // Of all calls, in their order.
  const std::vector<std::string>& methods() const { return methods_; }
  // Whether it makes tasks.
  bool adds() const;

  // Keeps the appids of new tasks, and returns the answer with those of the tasks it tells of, and with /data as who
  // asked knows it; an answer that tells of neither byte by byte as it came.
  std::string finish(const std::string& answer, Appids* appids) const;

 private:
  struct Call {
    enum Kind { kAdds, kTells } kind;
    Json::json_pointer result;  // place in the answer
    std::string appid;
    bool gid_was_added;
  };

  void read(Json* document);
  void read_call(Json* call, std::string_view name, const Json::json_pointer& result);
  void rename_folder(Json* params);
  void read_tell(Json* params, const Json::json_pointer& result);

  const std::string data_;
  std::string request_;
  bool changed_ = false;
  std::vector<std::string> methods_;
  std::vector<Call> calls_;
};

}  // namespace routerbox::downloads
