// tasks: lists the download tasks that a plug-in sees, which are its own; the plug-in "1" sees all. Given a URL it
// creates a task first. Needs ability 1 (download). Usage: tasks [URL NAME]
#include "task_list.h"

int main(int argc, char** argv) {
  if (!say_who("tasks")) return 1;
  if (argc == 3) {
    char id[ZEL_TASK_ID_SIZE];
    const task_param param = {argv[1], "/tmp", argv[2]};
    if (const int result = zel_download_task_create(&param, id); result != 0) {
      std::printf("create: refused (%d)\n", result);
      return 1;
    }
    std::printf("created %s\n", id);
  }
  return print_tasks() ? 0 : 1;
}
