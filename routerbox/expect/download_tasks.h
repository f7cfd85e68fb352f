// download_tasks.h: the tasks of the box's download daemon.
#pragma once
#include <optional>
#include <string>
#include <vector>

namespace routerbox {

inline const std::vector<std::string> kTaskStates = {"active", "waiting", "paused",
                                                     "error",  "removed", "complete"};

struct DownloadTask {
  std::string id;
  std::string appid;
  std::string state;  // one of kTaskStates
  std::string file = {}, url = {}, error = {};
  int64_t completed = 0, total = 0, bytes_per_second = 0;

  std::string text() const;  // "complete 1000 of 1000 bytes"
};

// Neither is in the trace, nor meets the faults of the daemon.

// None when the daemon does not answer. Throws Failure for an answer that cannot be read.
std::optional<std::vector<DownloadTask>> download_tasks();

// "pause", "resume" or "delete", which takes a finished task from the list. Throws Failure, with one of Status.
void change_download(const std::string& change, const std::string& id);

}  // namespace routerbox
