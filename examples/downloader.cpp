// downloader: a plug-in that has the router download a file. It watches the task, pauses and resumes it, deletes
// another one, and checks what has come. Needs ability 1 (download). Usage: downloader URL MD5
//
// Exits 0 if the file is complete and has the digest.
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>

#include "task_list.h"

namespace {

constexpr int kPausedAtPercent = 40;

bool say(const char* what, int result) {
  std::printf("%s: %s (%d)\n", what, result == 0 ? "accepted" : "refused", result);
  return result == 0;
}

bool is_under_way(const task_info& task) {
  return task.status == ZEL_TASK_ACTIVE || task.status == ZEL_TASK_WAITING;
}

// Shows the task until it is no longer under way or has got that far.
bool watch(const char* id, int percent) {
  task_info task{};
  while (zel_download_task_query(id, &task) == 0) {
    print_task(task);
    const bool far = task.total_length > 0 && task.completed_length * 100 >= task.total_length * percent;
    if (!is_under_way(task) || (far && percent < 100)) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
  }
  return false;
}

// The daemon pauses and resumes a moment after it has said that it will.
bool wait_while(const char* id, int status) {
  task_info task{};
  while (zel_download_task_query(id, &task) == 0) {
    if (task.status != status) {
      print_task(task);
      return true;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return false;
}

bool pause_and_resume(const char* id) {
  return say("pause", zel_download_task_pause(id)) && wait_while(id, ZEL_TASK_ACTIVE) &&
         say("resume", zel_download_task_resume(id)) && wait_while(id, ZEL_TASK_PAUSED);
}

bool compare(const std::string& path, const char* expected) {
  char digest[33] = "";
  if (zel_check_file_md5(path.c_str(), digest) != 0) return false;
  const bool equal = std::strcmp(digest, expected) == 0;
  std::printf("MD5 of the file:  %s\nMD5 it should be: %s\n%s\n", digest, expected,
              equal ? "They are equal." : "They DIFFER.");
  return equal;
}

bool delete_another(const char* url, const char* directory) {
  char id[ZEL_TASK_ID_SIZE];
  const task_param unwanted = {url, directory, "unwanted"};
  return say("create another", zel_download_task_create(&unwanted, id)) && print_tasks() &&
         say("delete the other", zel_download_task_del(id));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: downloader URL MD5\n");
    return 2;
  }
  if (!say_who("downloader")) return 1;
  char directory[] = "/tmp/downloads-XXXXXX";
  if (mkdtemp(directory) == nullptr) return 1;
  char id[ZEL_TASK_ID_SIZE];
  const task_param wanted = {argv[1], directory, "film.bin"};
  const bool well = say("create", zel_download_task_create(&wanted, id)) &&
                    delete_another(argv[1], directory) && watch(id, kPausedAtPercent) &&
                    pause_and_resume(id) && watch(id, 100) && print_tasks() &&
                    compare(std::string(directory) + "/film.bin", argv[2]);
  return well ? 0 : 1;
}
