#include "download_tasks.h"

#include "failure.h"
#include "patience.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr int kMostTasks = 512;  // more than the daemon tells
constexpr const char* kAdvice = "Does the daemon run? zelctl doctor. The library's own words: -v";

constexpr struct {
  int code;
  Exit exit;
  const char* meaning;
  const char* advice;
} kMeanings[] = {
    {ZEL_DOWNLOAD_NOT_PERMITTED, kNotPermitted, "ability 1 (ability_download) is missing",
     "zelctl perm show APPID"},
    {ZEL_DOWNLOAD_NO_FILENAME, kUsage, "the name is empty", "Give it with --name."},
    {ZEL_DOWNLOAD_NO_URL, kUsage, "the URL is empty", "Give one."},
    {ZEL_DOWNLOAD_NO_DIR, kFailed, "the folder does not exist, or is none", "Make it first: mkdir -p DIR"},
    {ZEL_DOWNLOAD_DIR_NOT_WRITABLE, kNotPermitted, "this user may not write to the folder",
     "Choose another, or chown it."},
    {ZEL_DOWNLOAD_NO_TASK_ID, kUsage, "the task's id is empty", "All ids: zelctl download list"},
    {-1, kFailed, "the daemon could not be asked, or answered otherwise than expected", kAdvice},
};

}  // namespace

void fail_download(int code, const char* what) {
  for (const auto& row : kMeanings) {
    if (row.code == code) fail_with(code, row.exit, row.advice, "%s: %s", what, row.meaning);
  }
  fail_with(code, kFailed, kAdvice, "%s: a code that zelctl does not know", what);
}

void require_done(int code, const char* id) {
  if (code == 0) return;
  task_info task{};
  if (code == -1 && zel_download_task_query(id, &task) == 0)
    fail_with(code, kNo, format("More of it: zelctl download show %s", id).c_str(),
              "task %s is %s, in no state for that", id, state_of(task));
  if (code == -1 && zel_download_task_getnum() >= 0)
    fail_with(code, kNo, "All ids: zelctl download list", "the daemon knows no task %s", id);
  fail_download(code, id);
}

task_info query(const char* id) {
  const Limit limit = daemon_patience();
  task_info task{};
  require_done(zel_download_task_query(id, &task), id);
  return task;
}

Tasks query_all() {
  Tasks all{std::vector<task_info>(kMostTasks)};
  if (const int code = zel_download_task_get_list(all.tasks.data(), kMostTasks); code != 0)
    fail_with(
        code, kFailed,
        "Does the daemon run? zelctl doctor. Lists of more than some 60 tasks are too long for the library: "
        "delete some.",
        "the daemon gave no list, or none that can be read");
  int waiting = 0;
  int ended = 0;
  size_t count = 0;
  for (; count < all.tasks.size() && all.tasks[count].task_id[0] != '\0'; ++count) {
    const int status = all.tasks[count].status;
    if (status == ZEL_TASK_WAITING || status == ZEL_TASK_PAUSED) ++waiting;
    if (status >= ZEL_TASK_ERROR) ++ended;
  }
  all.tasks.resize(count);
  all.may_be_longer = waiting >= kMostOfAList || ended >= kMostOfAList;
  return all;
}

const char* state_of(const task_info& task) {
  static constexpr const char* kStates[] = {"unknown", "active", "waiting", "paused",
                                            "unknown", "failed", "removed", "complete"};
  const auto status = static_cast<uint32_t>(task.status);
  return kStates[status < std::size(kStates) ? status : 0];
}

bool is_under_way(const task_info& task) {
  return task.status == ZEL_TASK_ACTIVE || task.status == ZEL_TASK_WAITING;
}

}  // namespace zelctl
