// download_tasks.h: the download daemon's tasks, asked for through the library. The caller holds ability 1.
#pragma once
#include <zel/download.h>

#include <vector>

namespace zelctl {

// Fails with what such a code means.
[[noreturn]] void fail_download(int code, const char* what);

// Fails for the code of a call about a task, and finds out whether the daemon knows that one.
void require_done(int code, const char* id);

task_info query(const char* id);

inline constexpr int kMostOfAList =
    100;  // of waiting tasks the daemon tells so many at most, and of ended ones
struct Tasks {
  std::vector<task_info> tasks;
  bool may_be_longer = false;
};
Tasks query_all();

const char* state_of(const task_info& task);
bool is_under_way(const task_info& task);

}  // namespace zelctl
