// task_list.h: how the examples about downloads show tasks.
#pragma once

#include <cstdio>
#include <vector>

#include "plugin.h"

// Whether the program runs as a plug-in; says so, or why not.
inline bool say_who(const char* program) {
  char appid[PERM_APPID_SIZE];
  if (begin_plugin(program, appid) != 0) return false;
  std::printf("I am plug-in %s, user %u; ability 1 (download): %s\n", appid, getuid(),
              perm_check(ability_download, appid) == 0 ? "granted" : "not granted");
  return true;
}

inline void print_task(const task_info& task) {
  static constexpr const char* kStates[] = {"unknown", "active", "waiting", "paused",
                                            "?",       "error",  "removed", "complete"};
  const double percent = task.total_length > 0 ? 100.0 * static_cast<double>(task.completed_length) /
                                                     static_cast<double>(task.total_length)
                                               : 0;
  std::printf("  %s %-8s %5.1f %% of %lld bytes, %.1f MB/s, error %d\n", task.task_id, kStates[task.status],
              percent, static_cast<long long>(task.total_length), task.download_speed / 1e6, task.error_code);
}

// Returns whether the tasks could be asked for.
inline bool print_tasks() {
  const int count = zel_download_task_getnum();
  if (count < 0 || count == ZEL_DOWNLOAD_NOT_PERMITTED) return false;
  std::printf("tasks that I see: %d\n", count);
  std::vector<task_info> tasks(static_cast<size_t>(count));
  if (count == 0) return true;
  if (zel_download_task_get_list(tasks.data(), count) != 0) return false;
  for (const task_info& task : tasks) print_task(task);
  return true;
}
