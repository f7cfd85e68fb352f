#include "download_tasks.h"

#include <httplib.h>

#include <algorithm>

#include "../support/failure.h"
#include "../support/json.h"
#include "../support/nearest.h"
#include "../support/places.h"
#include "../support/status.h"
#include "../support/whole_number.h"

namespace routerbox {
namespace {

constexpr const char* kQuietly = "/box/jsonrpc";
constexpr int kMostTasks = 1000;
constexpr time_t kLimitSeconds = 2;

Json call(const char* method, const Json& params) {
  return {{"jsonrpc", "2.0"}, {"id", method}, {"method", method}, {"params", params}};
}

Json list_of(const char* method, Json params) {
  params.push_back(
      {"gid", "appid", "status", "completedLength", "totalLength", "downloadSpeed", "errorMessage", "files"});
  return call(method, params);
}

std::optional<Json> ask(const Json& asked) {
  httplib::Client client("127.0.0.1", kDownloadsPort);
  client.set_read_timeout(kLimitSeconds);
  const httplib::Result result = client.Post(kQuietly, text_of(asked), "application/json");
  if (!result || (result->status != 200 && result->status != 400)) return std::nullopt;
  const Json answer = Json::parse(result->body, nullptr, false);
  if (!answer.is_structured()) throw Failure("the download daemon gave no JSON: " + result->body, kFailed);
  return answer;
}

int64_t number_at(const Json& task, const char* member) {
  return whole_number<int64_t>(task.value(member, "0")).value_or(0);
}

DownloadTask task_from(const Json& task) {
  DownloadTask result{task.value("gid", ""), task.value("appid", ""), task.value("status", "")};
  result.error = task.value("errorMessage", "");
  result.completed = number_at(task, "completedLength");
  result.total = number_at(task, "totalLength");
  result.bytes_per_second = number_at(task, "downloadSpeed");
  const Json files = task.value("files", Json::array());
  if (files.empty()) return result;
  result.file = files.at(0).value("path", "");
  const Json uris = files.at(0).value("uris", Json::array());
  if (!uris.empty()) result.url = uris.at(0).value("uri", "");
  return result;
}

DownloadTask task_with(const std::string& id) {
  const std::optional<std::vector<DownloadTask>> tasks = download_tasks();
  if (!tasks)
    throw Failure("the download daemon does not answer; routerbox restart downloads starts it anew", kFailed);
  std::vector<std::string> ids;
  for (const DownloadTask& task : *tasks) {
    if (task.id == id) return task;
    ids.push_back(task.id);
  }
  throw Failure("there is no download '" + id + "'" + (ids.empty() ? "" : advice_for(id, ids)), kNo);
}

}  // namespace

std::string DownloadTask::text() const {
  return state + " " + std::to_string(completed) + " of " + std::to_string(total) + " bytes";
}

std::optional<std::vector<DownloadTask>> download_tasks() {
  const std::optional<Json> answers =
      ask({list_of("aria2.tellActive", Json::array()), list_of("aria2.tellWaiting", {0, kMostTasks}),
           list_of("aria2.tellStopped", {0, kMostTasks})});
  if (!answers) return std::nullopt;
  std::vector<DownloadTask> tasks;
  for (const Json& answer : *answers)
    for (const Json& task : answer.value("result", Json::array())) tasks.push_back(task_from(task));
  return tasks;
}

void change_download(const std::string& change, const std::string& id) {
  constexpr struct {
    const char* change;
    const char* method;
    const char* method_when_over;
  } kChanges[] = {{"pause", "aria2.pause", "aria2.pause"},
                  {"resume", "aria2.unpause", "aria2.unpause"},
                  {"delete", "aria2.forceRemove", "aria2.removeDownloadResult"}};
  const auto* const row = std::find_if(std::begin(kChanges), std::end(kChanges),
                                       [&](const auto& known) { return change == known.change; });
  if (row == std::end(kChanges))
    throw Failure(
        "'" + change + "' is no change of a download" + advice_for(change, {"pause", "resume", "delete"}),
        kWrongCommandLine);
  const std::string state = task_with(id).state;
  const bool over = state == "complete" || state == "error" || state == "removed";
  const std::optional<Json> answer = ask(call(over ? row->method_when_over : row->method, {id}));
  if (!answer || answer->contains("error"))
    throw Failure("the download is " + state + ", and the daemon does not " + change + " it" +
                      (answer ? ": " + text_of(answer->at("error"), "message") : ""),
                  kNo);
}

}  // namespace routerbox
