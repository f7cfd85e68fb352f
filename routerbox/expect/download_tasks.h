// download_tasks.h: the tasks of the box's download daemon.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace routerbox {

inline const std::vector<std::string> kTaskStates = {"active", "waiting", "paused",
                                                     "error",  "removed", "complete"};

struct DownloadTask {
  std::string appid;
  std::string state;  // one of kTaskStates
  std::string text;   // "complete 1000 of 1000 bytes"
};

// None when the daemon does not answer. Throws Failure for an answer that cannot be read.
std::optional<std::vector<DownloadTask>> download_tasks();

}  // namespace routerbox
