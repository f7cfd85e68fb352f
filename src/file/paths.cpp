// Questions about paths, and directories made.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <zel/file.h>
#include <zel/util.h>
#include "base/qo_level.h"

namespace {

bool is_empty(const char* text) {
  return text == nullptr || *text == '\0';
}

bool is_directory(const char* path, bool* exists) {
  struct stat status;
  *exists = !is_empty(path) && stat(path, &status) == 0;
  return *exists && S_ISDIR(status.st_mode);
}

}  // namespace

int isAbsFileExist(const char* path) {
  return !is_empty(path) && access(path, F_OK) == 0 ? 1 : 0;
}

int isFileExist(char* directory, const char* name) {
  constexpr size_t kLimit = 1025;
  if (is_empty(directory) || name == nullptr) return 0;
  remove_slash(directory);
  const size_t length = strlen(directory);
  const size_t name_size = strlen(name) + 1;
  if (length + 1 + name_size >= kLimit) {
    QO_Log(zel::kQoError, "[%s]Filename too long!", __func__);
    return 0;
  }
  char* const end = directory + length;
  *end = '/';
  memcpy(end + 1, name, name_size);
  const bool found = access(directory, F_OK) == 0;
  *end = '\0';
  return found ? 1 : 0;
}

void remove_slash(char* path) {
  if (is_empty(path)) return;
  char& last = path[strlen(path) - 1];
  if (last == '/') last = '\0';
}

int qo_checkDir(const char* path) {
  bool exists;
  const bool directory = is_directory(path, &exists);
  if (!exists) return 0;
  if (!directory) {
    QO_Log(zel::kQoInfo, "[%s]Not a directory[%s].", __func__, path);
    return 0;
  }
  if (access(path, W_OK) == 0) return 1;
  QO_Log(zel::kQoInfo, "[%s]directory[%s] is not writable.", __func__, path);
  return 0;
}

int qo_checkDir_readonly(const char* path) {
  bool exists;
  if (!is_directory(path, &exists) || access(path, W_OK) == 0) return 0;
  QO_Log(zel::kQoInfo, "[%s]directory[%s] is readonly.", __func__, path);
  return 1;
}

int qo_abspath_generate(char* output, size_t size, const char* directory, const char* file) {
  if (output == nullptr || directory == nullptr || file == nullptr) return 0;
  if (*directory == '\0' || *file == '\0') {
    QO_Log(zel::kQoWarning, "[%s]Invalid path[%s] file[%s]", __func__, directory, file);
    if (size > 0) *output = '\0';
    return 0;
  }
  qo_strncpy(output, directory, size);
  if (size > 0) remove_slash(output);
  const size_t length = size > 0 ? strlen(output) : 0;
  if (length + strlen(file) + 2 > size) {
    QO_Log(zel::kQoError, "[%s]Filename too long", __func__);
    return 0;
  }
  output[length] = '/';
  qo_strncpy(output + length + 1, file, size - length - 1);
  return 1;
}

int qo_mkdirp(const char* path, unsigned int mode) {
  char prefix[256];
  qo_strncpy(prefix, path, sizeof prefix);
  if (*prefix == '\0') return 0;
  // The slashes behind the first character end a directory each, and so does the end of the path.
  for (char* end = prefix + 1;; ++end) {
    const char stood = *end;
    if (stood != '/' && stood != '\0') continue;
    *end = '\0';
    if (mkdir(prefix, mode) != 0 && errno != EEXIST) return 0;
    if (stood == '\0') return 1;
    *end = stood;
  }
}

int is_file_video(const char* name) {
  static constexpr const char* kExtensions[] = {".m3u8", ".ts",  ".mp4",  ".rmvb", ".avi",
                                                ".rm",   ".asf", ".divx", ".mpg",  ".mpeg",
                                                ".mpe",  ".wmv", ".mkv",  ".vob",  ".m2ts"};
  constexpr size_t kCompared = 4;  // Kept: so ".m3u" counts, and ".mp4" with any letters behind it.
  const char* const extension = name != nullptr ? strrchr(name, '.') : nullptr;
  if (extension == nullptr) return 0;
  for (const char* known : kExtensions) {
    if (qo_strncasecmp(extension, known, kCompared) == 0) return 1;
  }
  return 0;
}
