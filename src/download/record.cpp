#include "download/record.h"

#include <cstddef>
#include <cstring>

#include "base/number.h"
#include "download/exchange.h"

// Plug-ins are compiled against these.
static_assert(sizeof(task_info) == 56 && offsetof(task_info, status) == 24);
static_assert(offsetof(task_info, completed_length) == 32 && offsetof(task_info, total_length) == 40);
static_assert(offsetof(task_info, download_speed) == 48 && offsetof(task_info, error_code) == 52);
static_assert(sizeof(task_param) == 3 * sizeof(void*));

namespace {

using zel::leading_number;

int32_t map_status(const char* word) {
  switch (word[0]) {
    case 'a':
      return ZEL_TASK_ACTIVE;
    case 'w':
      return ZEL_TASK_WAITING;
    case 'p':
      return ZEL_TASK_PAUSED;
    case 'e':
      return ZEL_TASK_ERROR;
    case 'r':
      return ZEL_TASK_REMOVED;
    case 'c':
      return ZEL_TASK_COMPLETE;
    default:
      return ZEL_TASK_UNKNOWN;
  }
}

int32_t map_error(const cJSON* code) {
  static constexpr struct {
    int32_t daemons;
    int32_t ours;
  } kErrors[] = {{0, ZEL_TASK_NO_ERROR},   {2, ZEL_TASK_TIMED_OUT},  {3, ZEL_TASK_NOT_FOUND},
                 {9, ZEL_TASK_DISK_FULL},  {11, ZEL_TASK_DUPLICATE}, {13, ZEL_TASK_DUPLICATE},
                 {17, ZEL_TASK_IO_FAILED}, {24, ZEL_TASK_NOT_FOUND}};
  if (code == nullptr) return ZEL_TASK_NO_ERROR;
  const auto number = leading_number<int32_t>(code->valuestring);
  for (const auto& error : kErrors) {
    if (error.daemons == number) return error.ours;
  }
  return ZEL_TASK_OTHER_ERROR;
}

constexpr struct {
  const char* key;
  const char* complaint;
  void (*fill)(task_info* info, const char* text);
} kKeys[] = {
    {"status", "Response parse status error\n",
     [](task_info* info, const char* text) { info->status = map_status(text); }},
    {"totalLength", "Response parse totalLength error\n",
     [](task_info* info, const char* text) { info->total_length = leading_number<int64_t>(text); }},
    {"completedLength", "Response parse completelLength error\n",  // Kept: spelled so.
     [](task_info* info, const char* text) { info->completed_length = leading_number<int64_t>(text); }},
    {"downloadSpeed", "Response parse downloadSpeed error\n",
     [](task_info* info, const char* text) { info->download_speed = leading_number<int32_t>(text); }},
};

}  // namespace

namespace zel::download {

void copy_task_id(char* field, const char* gid) noexcept {
  const size_t length = strnlen(gid, ZEL_TASK_ID_SIZE - 1);
  memmove(field, gid, length);
  memset(field + length, 0, ZEL_TASK_ID_SIZE - length);
}

int fill_progress(const char* who, const cJSON* entry, task_info* info) {
  for (const auto& row : kKeys) {
    const cJSON* const text = json_member(entry, row.key, kJsonString);
    if (text == nullptr) return fail(who, row.complaint);
    row.fill(info, text->valuestring);
  }
  info->error_code = map_error(json_member(entry, "errorCode", kJsonString));
  return 0;
}

}  // namespace zel::download
