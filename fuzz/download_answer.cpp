// What the download daemon answers, to every call of a caller that may do all: the transfer is played.
#include <zel/download.h>
#include <zel/http.h>
#include <zel/perm.h>
#include <zel/service.h>
#include <zel/util.h>

#include <cstdio>
#include <cstring>

#include "input.h"

namespace {

const char* answer;

}  // namespace

extern "C" {
int __wrap_HttpPostBuffer(char* result, const char*, const void*, uint32_t, int, int) {
  qo_strncpy(result, answer, ZEL_HTTP_RESULT_SIZE);
  return 0;
}
int __wrap_perm_get_id(char* appid) {
  strcpy(appid, "1");
  return 0;
}
int __wrap_perm_check(uint32_t, const char*) {
  return 0;
}
void __wrap_zel_log(int, const char*, ...) {}
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = text_of(data, size);
  answer = text.c_str();
  task_info tasks[2];
  check(zel_download_task_getnum() >= -1);
  const int listed = zel_download_task_get_list(tasks, 2);
  check(listed == 0 || listed == -1);
  if (zel_download_task_query("2089b05ecca3d829", &tasks[0]) == 0)
    check(strcmp(tasks[0].task_id, "2089b05ecca3d829") == 0);
  const task_param param = {"http://host/name", "/tmp", "name"};
  Exact id(ZEL_TASK_ID_SIZE);
  if (zel_download_task_create(&param, id.data()) == 0) check(id.data()[ZEL_TASK_ID_SIZE - 1] == '\0');
  for (const auto control : {zel_download_task_pause, zel_download_task_resume, zel_download_task_del}) {
    const int result = control("2089b05ecca3d829");
    check(result == 0 || result == -1);
  }
  return 0;
}
