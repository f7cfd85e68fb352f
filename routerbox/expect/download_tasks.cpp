#include "download_tasks.h"

#include <httplib.h>

#include "../failure.h"
#include "../http/json.h"
#include "../places.h"
#include "../verbs/status.h"

namespace routerbox {
namespace {

constexpr int kMostTasks = 1000;
constexpr time_t kLimitSeconds = 2;

Json call(const char* method, Json params) {
  params.push_back({"appid", "status", "completedLength", "totalLength"});
  return {{"jsonrpc", "2.0"}, {"id", method}, {"method", method}, {"params", params}};
}

DownloadTask task_from(const Json& task) {
  const std::string state = task.value("status", "");
  return {
      task.value("appid", ""), state,
      state + " " + task.value("completedLength", "0") + " of " + task.value("totalLength", "0") + " bytes"};
}

}  // namespace

std::optional<std::vector<DownloadTask>> download_tasks() {
  httplib::Client client("127.0.0.1", kDownloadsPort);
  client.set_read_timeout(kLimitSeconds);
  const Json asked = {call("aria2.tellActive", Json::array()), call("aria2.tellWaiting", {0, kMostTasks}),
                      call("aria2.tellStopped", {0, kMostTasks})};
  const httplib::Result result = client.Post("/jsonrpc", text_of(asked), "application/json");
  if (!result || result->status != 200) return std::nullopt;
  const Json answers = Json::parse(result->body, nullptr, false);
  if (!answers.is_array()) throw Failure("the download daemon gave no list: " + result->body, kFailed);
  std::vector<DownloadTask> tasks;
  for (const Json& answer : answers)
    for (const Json& task : answer.value("result", Json::array())) tasks.push_back(task_from(task));
  return tasks;
}

}  // namespace routerbox
