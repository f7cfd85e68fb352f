// Counting and listing the caller's tasks.
#include <zel/download.h>
#include <zel/perm.h>
#include <zel/util.h>

#include <cstring>
#include <iterator>

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

// Of waiting and of stopped tasks the daemon tells as many at most.
constexpr int kMostTasks = 100;

constexpr struct List {
  const char* method;
  bool ranged;
} kLists[] = {{"aria2.tellActive", false}, {"aria2.tellWaiting", true}, {"aria2.tellStopped", true}};

bool append_list(cJSON* batch, const List& list) {
  cJSON* const request = zel::download::append_object(batch);
  cJSON* const params = zel::download::add_named_call(request, list.method);
  const bool ranged = !list.ranged || (append(params, JsonTree(cJSON_CreateNumber(0))) &&
                                       append(params, JsonTree(cJSON_CreateNumber(kMostTasks))));
  return ranged && zel::download::append_status_keys(params);
}

JsonText print_request() {
  const JsonTree batch(cJSON_CreateArray());
  bool whole = true;
  for (const List& list : kLists) whole = whole && append_list(batch.get(), list);
  return zel::download::print(batch, whole);
}

// The daemon's three lists, or null, which is logged under the name of the call.
JsonTree fetch_lists(const char* who) {
  zel::download::Exchange daemon;
  if (!daemon.post(print_request(), zel::kForTaskLists)) {
    fail(who, "Post reqstr fail \n");
    return nullptr;
  }
  JsonTree lists = daemon.parse();
  if (zel::json_type(lists.get()) != zel::kJsonArray) {
    fail(who, "parst dst_buffer fail \n");  // Kept: spelled so, as is the next.
    return nullptr;
  }
  if (cJSON_GetArraySize(lists.get()) != static_cast<int>(std::size(kLists))) {
    fail(who, "infomation size error \n");
    return nullptr;
  }
  return lists;
}

enum class Step { kGoOn, kStop, kFail };

// Visits every task of every list in the daemon's order: visit(entry, appid of its owner). Returns 0, also when
// stopped; -1 if a visit or the daemon's answer fails, the latter logged.
template <class Visit>
int visit_tasks(const char* who, const cJSON* lists, Visit visit) {
  const cJSON* list;
  cJSON_ArrayForEach(list, lists) {
    if (zel::json_type(list) != zel::kJsonObject) return fail(who, "get j_res[i] error \n");
    const cJSON* const entries = zel::json_member(list, "result", zel::kJsonArray);
    if (entries == nullptr) return fail(who, "get result array error \n");
    const cJSON* entry;
    cJSON_ArrayForEach(entry, entries) {
      const cJSON* const owner = zel::json_member(entry, "appid", zel::kJsonString);
      if (owner == nullptr) return fail(who, "get appid error \n");
      const Step step = visit(entry, owner->valuestring);
      if (step != Step::kGoOn) return step == Step::kStop ? 0 : -1;
    }
  }
  return 0;
}

// Whose tasks the caller sees. Kept: the two calls take different owners for the caller.
class Viewer {
 public:
  bool is_permitted() { return access_.check_permission_appid(); }
  bool counts(const char* owner) const noexcept {
    const size_t length = strlen(appid());
    return sees_all() || (strlen(owner) == length && qo_strncasecmp(owner, appid(), length) == 0);
  }
  bool lists(const char* owner) const noexcept {
    return sees_all() || strncmp(owner, appid(), strlen(appid())) == 0;
  }

 private:
  const char* appid() const noexcept { return access_.appid(); }
  bool sees_all() const noexcept { return strcmp(appid(), PERM_DAEMON_APPID) == 0; }

  zel::download::Access access_;
};

int get_result_item_info(task_info* list, int index, const cJSON* entry) {
  const cJSON* const gid = zel::json_member(entry, "gid", zel::kJsonString);
  if (gid == nullptr) return fail(__func__, "Response parse gid error\n");
  zel::download::copy_task_id(list[index].task_id, gid->valuestring);
  return zel::download::fill_progress(__func__, entry, &list[index]);
}

}  // namespace

int zel_download_task_getnum(void) {
  Viewer viewer;
  if (!viewer.is_permitted()) return ZEL_DOWNLOAD_NOT_PERMITTED;
  const JsonTree lists = fetch_lists(__func__);
  if (!lists) return -1;
  int count = 0;
  const auto counting = [&](const cJSON*, const char* owner) {
    if (viewer.counts(owner)) ++count;
    return Step::kGoOn;
  };
  return visit_tasks(__func__, lists.get(), counting) == 0 ? count : -1;
}

int zel_download_task_get_list(task_info* list, int max_count) {
  Viewer viewer;
  if (!viewer.is_permitted()) return ZEL_DOWNLOAD_NOT_PERMITTED;
  if (list == nullptr) return ZEL_DOWNLOAD_NO_OUTPUT;
  if (max_count < 1) return ZEL_DOWNLOAD_NO_ROOM;
  const JsonTree lists = fetch_lists(__func__);
  if (!lists) return -1;
  const char* const who = __func__;
  int filled = 0;
  const auto filling = [&](const cJSON* entry, const char* owner) {
    if (!viewer.lists(owner)) return Step::kGoOn;
    if (get_result_item_info(list, filled, entry) != 0) {
      fail(who, "get info error \n");
      return Step::kFail;
    }
    return ++filled < max_count ? Step::kGoOn : Step::kStop;
  };
  return visit_tasks(who, lists.get(), filling);
}
