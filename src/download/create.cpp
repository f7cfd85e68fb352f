// Creating a task.
#include <sys/stat.h>
#include <unistd.h>
#include <zel/download.h>

#include <cstring>
#include <utility>

#include "base/json.h"
#include "download/access.h"
#include "download/exchange.h"
#include "download/record.h"
#include "download/request.h"

namespace {

using zel::JsonText;
using zel::JsonTree;
using zel::download::append;
using zel::download::Exchange;

bool is_empty(const char* text) {
  return text == nullptr || *text == '\0';
}

// By stat64, which does not fail on a disk of large inode numbers.
bool is_directory(const char* path) {
  struct stat64 found {};
  return path != nullptr && stat64(path, &found) == 0 && S_ISDIR(found.st_mode);
}

int check_task_param(const task_param* param) {
  if (param == nullptr) return ZEL_DOWNLOAD_NO_PARAM;
  if (is_empty(param->filename)) return ZEL_DOWNLOAD_NO_FILENAME;
  if (is_empty(param->url)) return ZEL_DOWNLOAD_NO_URL;
  if (!is_directory(param->dir)) return ZEL_DOWNLOAD_NO_DIR;
  if (access(param->dir, W_OK) != 0) return ZEL_DOWNLOAD_DIR_NOT_WRITABLE;
  return 0;
}

bool append_urls(cJSON* params, const char* url) {
  JsonTree urls(cJSON_CreateArray());
  return append(urls.get(), JsonTree(cJSON_CreateString(url))) && append(params, std::move(urls));
}

bool append_options(cJSON* params, const task_param& param, const char* appid) {
  cJSON* const options = zel::download::append_object(params);
  return cJSON_AddStringToObject(options, "out", param.filename) != nullptr &&
         cJSON_AddStringToObject(options, "dir", param.dir) != nullptr &&
         cJSON_AddStringToObject(options, "appid", appid) != nullptr;
}

JsonText print_request(const task_param& param, const char* appid) {
  const JsonTree request(cJSON_CreateObject());
  const bool prefixed =
      zel::download::add_cmd_prefix_to_json(request.get(), param.url, static_cast<int>(strlen(param.url)));
  cJSON* const params = zel::download::add_call(request.get(), "aria2.addUri");
  const bool whole = prefixed && append_urls(params, param.url) && append_options(params, param, appid);
  return zel::download::print(request, whole);
}

bool normal_task_create(Exchange* daemon, const task_param& param, const char* appid) {
  if (daemon->post(print_request(param, appid), zel::kForTaskCreation)) return true;
  zel::download::fail(__func__, "Post req_str fail\n");
  return false;
}

}  // namespace

int zel_download_task_create(const task_param* param, char* task_id) {
  zel::download::Access access;
  if (!access.check_permission_appid()) return ZEL_DOWNLOAD_NOT_PERMITTED;
  if (const int refused = check_task_param(param); refused != 0) return refused;
  if (task_id == nullptr) return ZEL_DOWNLOAD_NO_OUTPUT;

  Exchange daemon;
  if (!normal_task_create(&daemon, *param, access.appid())) return -1;
  const JsonTree answer = daemon.parse();
  if (!answer) return zel::download::fail(__func__, "Parse dst_buffer error\n");
  const cJSON* const gid = zel::json_member(answer.get(), "result", zel::kJsonString);
  if (gid == nullptr) return zel::download::fail(__func__, "task_id parse error\n");
  zel::download::copy_task_id(task_id, gid->valuestring);
  return 0;
}
