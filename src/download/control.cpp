// Pausing, resuming and deleting a task.
#include <zel/download.h>

#include "base/json.h"
#include "base/log.h"
#include "download/access.h"
#include "download/exchange.h"
#include "download/request.h"

namespace {

using zel::JsonText;
using zel::JsonTree;
using zel::download::fail;

// Kept: the three calls log their requests differently, and one never its answer.
enum class Logs { kNever, kTraced, kAlways };

struct Control {
  const char* who;
  const char* method;
  Logs request;
  bool traces_answer;
};

JsonText print_request(const char* method, const char* task_id) {
  const JsonTree batch(cJSON_CreateArray());
  cJSON* const request = zel::download::append_object(batch.get());
  cJSON* const params = zel::download::add_named_call(request, method);
  return zel::download::print(batch, zel::download::append(params, JsonTree(cJSON_CreateString(task_id))));
}

void log_request(const Control& control, const JsonText& request) {
  const char* const text = request ? request.get() : "(null)";
  if (control.request == Logs::kAlways) zel_log(LOG_ERR, "[ZEL] req_string = %s\n", text);
  if (control.request == Logs::kTraced) ZEL_TRACE_AS(control.who, "[ZEL]", "req_string = %s\n", text);
}

int read_answer(const char* who, const cJSON* answer) {
  if (zel::json_type(answer) != zel::kJsonArray) return fail(who, "Parse dst_buffer error\n");
  const cJSON* const response = answer->child;
  if (zel::json_type(response) != zel::kJsonObject) {
    return fail(who, "Response JSON get object error\n");
  }
  if (zel::json_member(response, "result") != nullptr) return 0;
  return fail(who, "task_id not find in downloading list\n");
}

int perform(const Control& control, const char* task_id) {
  if (!zel::download::Access().check_permission()) return ZEL_DOWNLOAD_NOT_PERMITTED;
  if (task_id == nullptr || *task_id == '\0') return ZEL_DOWNLOAD_NO_TASK_ID;

  const JsonText request = print_request(control.method, task_id);
  log_request(control, request);
  zel::download::Exchange daemon;
  if (!daemon.post(request, zel::kForTaskControl)) return fail(control.who, "Post reqstr fail \n");
  if (control.traces_answer) ZEL_TRACE_AS(control.who, "[ZEL]", "res_string = %s\n", daemon.answer());
  return read_answer(control.who, daemon.parse().get());
}

}  // namespace

int zel_download_task_pause(const char* task_id) {
  return perform({__func__, "aria2.pause", Logs::kNever, false}, task_id);
}

int zel_download_task_resume(const char* task_id) {
  return perform({__func__, "aria2.unpause", Logs::kAlways, true}, task_id);
}

int zel_download_task_del(const char* task_id) {
  return perform({__func__, "aria2.forceRemove", Logs::kTraced, true}, task_id);
}
