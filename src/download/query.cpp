// Reading one task's progress.
#include <zel/download.h>

#include <cstring>

#include "base/json.h"
#include "download/access.h"
#include "download/exchange.h"
#include "download/record.h"
#include "download/request.h"

namespace {

using zel::JsonText;
using zel::JsonTree;
using zel::download::append;
using zel::download::fail;

JsonText print_request(const char* task_id) {
  const JsonTree batch(cJSON_CreateArray());
  cJSON* const request = zel::download::append_object(batch.get());
  const bool prefixed =
      zel::download::add_cmd_prefix_to_json(request, task_id, static_cast<int>(strlen(task_id)));
  cJSON* const params = zel::download::add_call(request, "aria2.tellStatus");
  const bool whole = prefixed && append(params, JsonTree(cJSON_CreateString(task_id))) &&
                     zel::download::append_status_keys(params);
  return zel::download::print(batch, whole);
}

int read_answer(const char* who, const cJSON* answer, const char* task_id, task_info* info) {
  if (zel::json_type(answer) != zel::kJsonArray) return fail(who, "Parse dst_buffer error\n");
  const cJSON* const response = answer->child;
  if (zel::json_type(response) != zel::kJsonObject) {
    return fail(who, "Response JSON get object error\n");
  }
  const cJSON* const result = zel::json_member(response, "result", zel::kJsonObject);
  if (result == nullptr) return fail(who, "Response JSON get result object error\n");
  const cJSON* const gid = zel::json_member(result, "gid", zel::kJsonString);
  if (gid == nullptr || strcmp(gid->valuestring, task_id) != 0) {
    return fail(who, "Response parse gid error\n");
  }
  zel::download::copy_task_id(info->task_id, task_id);
  return zel::download::fill_progress(who, result, info);
}

}  // namespace

int zel_download_task_query(const char* task_id, task_info* info) {
  if (!zel::download::Access().check_permission()) return ZEL_DOWNLOAD_NOT_PERMITTED;
  if (task_id == nullptr || *task_id == '\0') return ZEL_DOWNLOAD_NO_TASK_ID;
  if (info == nullptr) return ZEL_DOWNLOAD_NO_OUTPUT;

  zel::download::Exchange daemon;
  if (!daemon.post(print_request(task_id), zel::kForTaskQuery)) return fail(__func__, "Post req_str fail\n");
  return read_answer(__func__, daemon.parse().get(), task_id, info);
}
