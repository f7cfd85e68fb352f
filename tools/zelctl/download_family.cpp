// zelctl download: tasks of the router's download daemon.
#include <unistd.h>
#include <zel/download.h>

#include <algorithm>
#include <cstring>

#include "caller.h"
#include "download_tasks.h"
#include "ending.h"
#include "families.h"
#include "output.h"
#include "patience.h"
#include "perm_table.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kFull = "####################";
constexpr const char* kRest = "....................";
constexpr unsigned kBarWidth = 20;
constexpr useconds_t kTickUs = 500'000;

// ---- Tasks as people read them ----------------------------------------------------------------------------

const char* error_of(const task_info& task) {
  static constexpr struct {
    int code;
    const char* text;
  } kErrors[] = {{ZEL_TASK_NO_ERROR, ""},
                 {ZEL_TASK_TIMED_OUT, "timed out"},
                 {ZEL_TASK_DISK_FULL, "the disk is full"},
                 {ZEL_TASK_IO_FAILED, "a file could not be opened, made or written"},
                 {ZEL_TASK_NOT_FOUND, "not found, or not authorised"},
                 {ZEL_TASK_DUPLICATE, "runs already, or the file exists"}};
  for (const auto& row : kErrors) {
    if (row.code == task.error_code) return row.text;
  }
  return "another error";
}

std::string amount_of(const task_info& task) {
  std::string text = size_text(static_cast<uint64_t>(task.completed_length));
  if (task.total_length > 0)
    append(&text, " of %s", size_text(static_cast<uint64_t>(task.total_length)).c_str());
  return text;
}

// The rate and the time that is left, as far as they are known.
std::string pace_of(const task_info& task) {
  if (task.status != ZEL_TASK_ACTIVE) return error_of(task);
  std::string text = format("%s/s", size_text(static_cast<uint32_t>(task.download_speed)).c_str());
  const int64_t left = task.total_length - task.completed_length;
  if (left > 0 && task.download_speed > 0)
    append(&text, ", %s left", duration_text(static_cast<uint64_t>(left / task.download_speed)).c_str());
  return text;
}

std::string bar_of(const task_info& task) {
  // A daemon that is odd may tell less than nothing, or more than all.
  const int64_t total = std::clamp<int64_t>(task.total_length, 0, INT64_MAX / 100);
  const int64_t done = std::clamp<int64_t>(task.completed_length, 0, total);
  const auto percent = static_cast<unsigned>(total != 0 ? done * 100 / total : 0);
  const unsigned full = percent * kBarWidth / 100;
  return format("[%.*s%.*s] %3u %%", static_cast<int>(full), kFull, static_cast<int>(kBarWidth - full), kRest,
                percent);
}

void add_task(const task_info& task, cJSON* json) {
  add_text(json, "id", task.task_id);
  add_text(json, "state", state_of(task));
  add_number(json, "completed_bytes", task.completed_length);
  add_number(json, "total_bytes", task.total_length);
  add_number(json, "bytes_per_second", task.download_speed);
  add_number(json, "error_code", task.error_code);
  add_text(json, "error", error_of(task));
}

void show_task(const task_info& task) {
  Result result;
  add_task(task, result.json());
  result.row("id\t%s", task.task_id);
  result.row("state\t%s", state_of(task));
  result.row("amount\t%s", amount_of(task).c_str());
  if (task.status == ZEL_TASK_ACTIVE) result.row("pace\t%s", pace_of(task).c_str());
  if (task.error_code != 0) result.row("error\t%s", error_of(task));
  result.show();
}

void show_tasks(const Tasks& all) {
  Result result;
  cJSON* const array = add_array(result.json(), "tasks");
  if (!all.tasks.empty()) result.row("ID\tSTATE\tAMOUNT\tPACE");
  for (const task_info& task : all.tasks) {
    add_task(task, append_object(array));
    result.row("%s\t%s\t%s\t%s", task.task_id, state_of(task), amount_of(task).c_str(),
               pace_of(task).c_str());
  }
  add_bool(result.json(), "may_be_longer", all.may_be_longer);
  if (all.tasks.empty()) result.line("no tasks");
  if (all.may_be_longer)
    result.line("There may be more: the daemon tells %d of waiting and of ended ones.", kMostOfAList);
  result.show();
}

// ---- Commands ---------------------------------------------------------------------------------------------

const char* id_of(const Call& call) {
  const char* const id = call.argument(0);
  if (std::strlen(id) >= ZEL_TASK_ID_SIZE)
    fail(kUsage, "All ids: zelctl download list", "ID: an id is at most %d characters", ZEL_TASK_ID_SIZE - 1);
  return id;
}

// Until it has come. Fails if it does not.
task_info wait_for(const char* id) {
  task_info task = query(id);
  for (; is_under_way(task); task = query(id)) {
    const std::string amount = amount_of(task);
    progress(format("%s  %s  %s", bar_of(task).c_str(), amount.c_str(), pace_of(task).c_str()));
    interruption_fails("The download goes on: zelctl download watch ID", "interrupted; task %s has %s", id,
                       amount.c_str());
    usleep(kTickUs);
  }
  progress("");
  if (task.status == ZEL_TASK_PAUSED)
    fail(kNo, format("To go on: zelctl download resume %s", id).c_str(), "task %s is paused", id);
  if (task.status != ZEL_TASK_COMPLETE)
    fail_with(task.error_code, kFailed, "Try it again: zelctl download add", "task %s: %s%s%s", id,
              state_of(task), *error_of(task) != '\0' ? ": " : "", error_of(task));
  return task;
}

// Without a scheme in front the daemon takes none, and does not tell why.
void require_url(const char* url) {
  const size_t scheme = std::strspn(url, "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ");
  if (scheme == 0 || url[scheme] != ':')
    fail(kUsage, "Give it whole: http://HOST/FILE",
         "URL: '%s' does not begin with http://, or another scheme", url);
}

int add(const Call& call) {
  const task_param what = {call.arguments[0], call.option("dir"), call.option("name")};
  if (what.dir[0] != '/') fail(kUsage, "Give the whole path.", "--dir: '%s' does not begin with /", what.dir);
  if (std::strchr(what.filename, '/') != nullptr)
    fail(kUsage, "Put the folder into --dir.", "--name: a name has no /");
  require_url(what.url);
  require_ability(ability_download);
  char id[ZEL_TASK_ID_SIZE];
  {
    const Limit limit = daemon_patience("It may have been added: zelctl download list");
    const int code = zel_download_task_create(&what, id);
    if (code == -1 && zel_download_task_getnum() >= 0)
      fail_with(code, kFailed, "Is it right? http://HOST/FILE", "the daemon answers, but did not take %s",
                what.url);
    if (code != 0) fail_download(code, what.url);
  }
  if (call.has("wait"))
    show_task(wait_for(id));
  else if (manner().json)
    show_task(query(id));
  else
    print(format("%s\n", id));
  return kDone;
}

int list(const Call&) {
  require_ability(ability_download);
  const Limit limit = daemon_patience();
  show_tasks(query_all());
  return kDone;
}

int show(const Call& call) {
  const char* const id = id_of(call);
  require_ability(ability_download);
  show_task(query(id));
  return kDone;
}

int watch(const Call& call) {
  const char* const id = call.argument(0) != nullptr ? id_of(call) : nullptr;
  require_ability(ability_download);
  if (id != nullptr) {
    show_tasks({{wait_for(id)}});
    return kDone;
  }
  for (bool busy = true; busy;) {
    const Limit limit = daemon_patience();
    const Tasks all = query_all();
    busy = false;
    std::vector<std::string> rows;
    for (const task_info& task : all.tasks) {
      if (!is_under_way(task)) continue;
      busy = true;
      rows.push_back(format("%s\t%s\t%s\t%s", task.task_id, bar_of(task).c_str(), amount_of(task).c_str(),
                            pace_of(task).c_str()));
    }
    progress(columns(rows));
    if (!busy) show_tasks(all);
    interruption_fails("The downloads go on: zelctl download list", "interrupted; tasks under way: %zu",
                       rows.size());
    if (busy) usleep(kTickUs);
  }
  return kDone;
}

int change(const Call& call, int (*change)(const char*), const char* done) {
  const char* const id = id_of(call);
  require_ability(ability_download);
  const Limit limit = daemon_patience();
  require_done(change(id), id);
  Result result;
  add_text(result.json(), "id", id);
  add_text(result.json(), "accepted", done);
  result.line("%s: %s accepted", id, done);
  result.show();
  return kDone;
}

constexpr Option kAdd[] = {
    {"dir", "DIR", "Folder to save it in, from / on", true},
    {"name", "NAME", "Its name there", true},
    {"wait", nullptr, "Waits until it has come, with a bar on a terminal"},
};

constexpr Command kCommands[] = {
    {"download add", "URL", "Have the daemon download a file, and print the task's id",
     "zelctl download add http://127.0.0.1:8080/bytes/1000 --dir /tmp --name file --wait", add, kAdd},
    {"download list", "",
     "The tasks of the calling plug-in, and of those whose appid begins with its own; of all, for root",
     "zelctl download list", list},
    {"download show", "ID", "One task",
     "zelctl download show $(zelctl download list --json | grep -o '[0-9a-f]\\{16\\}' | head -n 1)", show},
    {"download watch", "[ID]", "See a task, or all, until nothing is under way any more",
     "zelctl download watch", watch},
    {"download pause", "ID", "Pause a task",
     "id=$(zelctl download add http://127.0.0.1:8080/slow/100000/10000000 --dir /tmp --name a) && sleep 1 && "
     "zelctl download pause $id",
     [](const Call& call) { return change(call, zel_download_task_pause, "pause"); }},
    {"download resume", "ID", "Resume a paused task",
     "sleep 1; zelctl download resume $(zelctl download list | awk '/paused/ {print $1}')",
     [](const Call& call) { return change(call, zel_download_task_resume, "resume"); }},
    {"download delete", "ID", "Delete a task; what was downloaded stays on the disk",
     "sleep 1; zelctl download delete $(zelctl download list | awk '/active/ {print $1}')",
     [](const Call& call) { return change(call, zel_download_task_del, "delete"); }},
};

}  // namespace

constinit const Family kDownloadFamily = {"download", "Download tasks", kCommands};

}  // namespace zelctl
