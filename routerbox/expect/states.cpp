// states.cpp: the subjects that are looked at as they are now.
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "../clients/router_client.h"
#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"
#include "download_tasks.h"
#include "subjects.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr std::chrono::milliseconds kObjectLook(200);

// The name of a process's program; of one that an emulator or a shell runs too. Empty: there is none.
std::vector<std::string> program_names(const fs::path& process) {
  std::ifstream file(process / "cmdline");
  std::vector<std::string> names;
  for (std::string word; names.size() < 8 && std::getline(file, word, '\0');)
    names.push_back(fs::path(word).filename());
  return names;
}

std::vector<std::string> files_in(const fs::path& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, error))
    names.push_back(entry.path().filename());
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

// As process 1 sees a file of the box, or PLUGIN:PATH of a plug-in, which sees its own folder as /data.
std::string Subjects::host_path(const std::string& file) const {
  const size_t colon = file.find(':');
  std::string path = colon == std::string::npos ? file : file.substr(colon + 1);
  if (!path.starts_with('/'))
    throw Failure("a file is written as PLUGIN:PATH or PATH, with a path from /, not '" + file + "'",
                  kWrongCommandLine);
  if (colon == std::string::npos) return path;
  const std::string data = parts_.plugins.row(plugin_named(file.substr(0, colon))).run.data;
  const bool own = path == kDataFolder || path.starts_with(std::string(kDataFolder) + "/");
  return own && !data.empty() ? data + path.substr(std::string_view(kDataFolder).size()) : path;
}

Look Subjects::look_at_file(const Wanted& wanted, std::chrono::milliseconds, size_t*) {
  const fs::path path = host_path(wanted.what);
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    const std::vector<std::string> beside = files_in(path.parent_path());
    return {false, beside.empty() ? "nothing in its folder" : "in its folder: " + list_words(beside)};
  }
  const std::string size = std::to_string(status.st_size);
  return {S_ISREG(status.st_mode) && (wanted.size.empty() || size == wanted.size),
          wanted.what + " with " + size + " bytes"};
}

Look Subjects::look_at_object(const Wanted& wanted, std::chrono::milliseconds limit, size_t*) {
  const std::optional<size_t> place = parts_.plugins.find(wanted.what);
  const std::string name = place ? parts_.plugins.row(*place).run.object() : wanted.what;
  const bool found =
      parts_.bus.wait_for_object(name, getpid(), std::max(limit, kObjectLook)) == ObjectWait::kFound;
  return {found, found ? name : ""};
}

Look Subjects::look_at_process(const Wanted& wanted, std::chrono::milliseconds, size_t*) {
  const std::optional<size_t> plugin = parts_.plugins.find(wanted.what);
  if (plugin && wanted.of.empty())
    return {parts_.plugins.row(*plugin).state == Plugins::State::kRunning, wanted.what};
  std::optional<uid_t> uid;
  if (!wanted.of.empty()) uid = parts_.plugins.row(plugin_named(wanted.of)).run.uid;
  std::vector<std::string> others;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
    struct stat status {};
    if (stat(entry.path().c_str(), &status) != 0 || (uid && status.st_uid != *uid)) continue;
    const std::vector<std::string> names = program_names(entry.path());
    if (std::find(names.begin(), names.end(), wanted.what) != names.end())
      return {true, wanted.what + ", process " + entry.path().filename().string()};
    if (!names.empty()) others.push_back(names.front());
  }
  return {false, list_words(others)};
}

Look Subjects::look_at_download(const Wanted& wanted, std::chrono::milliseconds, size_t*) {
  std::string appid;
  if (!wanted.of.empty()) appid = parts_.plugins.row(plugin_named(wanted.of)).run.appid;
  Look look;
  const std::optional<std::vector<DownloadTask>> tasks = download_tasks();
  if (!tasks) return {false, "the download daemon does not answer"};
  for (const DownloadTask& task : *tasks) {
    look.seen += (look.seen.empty() ? "" : ", ") + task.text() + " of " + owner_of_task(task.appid);
    look.found = look.found || (task.state == wanted.what && (appid.empty() || task.appid == appid));
  }
  return look;
}

std::string Subjects::owner_of_task(const std::string& appid) const {
  const std::optional<size_t> place = parts_.plugins.find(appid);
  return place ? parts_.plugins.row(*place).run.name : "appid '" + appid + "'";
}

Look Subjects::look_at_state(const Wanted& wanted, std::chrono::milliseconds, size_t*) {
  const Json state = RouterClient().state(wanted.what);
  const std::string text = state.is_string() ? state.get<std::string>() : state.dump();
  return {text == wanted.value, wanted.what + " is " + text};
}

}  // namespace routerbox
