// Questions about mounted file systems, answered by the system's own tools.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include <zel/file.h>
#include "base/command.h"
#include "base/handles.h"
#include "base/new_text.h"
#include "base/number.h"
#include "base/qo_level.h"

namespace {

constexpr const char* kSizeOf = "getFsSize";
constexpr size_t kLineSize = 1024;

// Where df leaves its table. Removed with the object.
class TableFile {
 public:
  TableFile() {
    // The address makes the name of two threads differ.
    const auto address = static_cast<int>(reinterpret_cast<uintptr_t>(path_));
    snprintf(path_, sizeof path_, "/var/%d_%d.btmp", static_cast<int>(time(nullptr)), address);
  }
  ~TableFile() { unlink(path_); }
  TableFile(const TableFile&) = delete;
  TableFile& operator=(const TableFile&) = delete;
  const char* path() const { return path_; }

 private:
  char path_[64];
};

// A path as one word of a command that takes it for no option.
zel::Memory<char> path_word(const char* path) {
  if (*path != '-') return zel::shell_word(path);
  const zel::Memory<char> from_here = zel::new_text("./%s", path);
  return from_here ? zel::shell_word(from_here.get()) : nullptr;
}

// The next field of a table's line as a number; false if there is none.
bool next_number(char** rest, int64_t* number) {
  const char* const field = strtok_r(nullptr, " \t\n", rest);
  return field != nullptr && zel::read_number(field, number);
}

bool read_table(FILE* table, int64_t* total, int64_t* used) {
  char line[kLineSize];
  for (int lines = 0; lines < 2; ++lines) {
    if (fgets(line, sizeof line, table) == nullptr) return false;
  }
  char* rest = nullptr;
  if (strtok_r(line, " \t\n", &rest) == nullptr) return false;
  if (next_number(&rest, total)) return next_number(&rest, used);
  // The df of routers puts the figures on a line of their own behind a long name.
  if (fgets(line, sizeof line, table) == nullptr) return false;
  rest = line;
  return next_number(&rest, total) && next_number(&rest, used);
}

bool is_directory(const char* path) {
  struct stat status;
  if (stat(path, &status) != 0) {
    QO_Log(zel::kQoWarning, "[%s]path[%s] not exist!", kSizeOf, path);
    return false;
  }
  if (!S_ISDIR(status.st_mode)) QO_Log(zel::kQoWarning, "[%s]path[%s] not directory!", kSizeOf, path);
  return S_ISDIR(status.st_mode);
}

}  // namespace

int is_type_fat(const char* path) {
  if (path == nullptr || *path == '\0') return 0;
  zel::Command mounts("mount");
  char line[kLineSize];
  while (mounts && mounts.read_line(line, sizeof line)) {
    if (strstr(line, path) != nullptr && strstr(line, "type vfat") != nullptr) return 1;
  }
  return 0;
}

int get_df_info(const char* path, char* buffer) {
  if (path == nullptr || buffer == nullptr) return -1;
  const zel::Memory<char> word = path_word(path);
  char command[512];
  const int length = word ? snprintf(command, sizeof command, "norva_db df %s", word.get()) : -1;
  const bool fits = length >= 0 && static_cast<size_t>(length) < sizeof command;
  zel::Command tool(fits ? command : nullptr);
  if (!tool) {
    QO_Log(zel::kQoError, "[%s]Failed to run command[%s]", __func__, length >= 0 ? command : "norva_db");
    return -1;
  }
  for (int lines = 0; lines < 2; ++lines) {
    if (!tool.read_line(buffer, kLineSize)) return -1;
  }
  return 0;
}

int getFsSize(const char* path, int64_t* used, int64_t* total) {
  if (path == nullptr || *path == '\0' || used == nullptr || total == nullptr) {
    QO_Log(zel::kQoWarning, "[%s]input param illegal", __func__);
    return -1;
  }
  if (!is_directory(path)) return -1;
  const TableFile file;
  const zel::Memory<char> word = path_word(path);
  const zel::Memory<char> command = word ? zel::new_text("df %s > %s", word.get(), file.path()) : nullptr;
  if (!command) return -1;
  QO_Log(zel::kQoDebug, "[%s]run command: %s", __func__, command.get());
  [[maybe_unused]] const int status = system(command.get());  // The table tells whether it worked.
  const zel::File table = zel::open_file(file.path(), "re");
  if (!table) {
    const int error = errno;
    QO_Log(zel::kQoWarning, "[%s]getFsSize fail! cmd[%s], path[%s], errno[%d], errMsg[%s]", __func__,
           command.get(), path, error, strerror(error));
    return -1;
  }
  int64_t blocks = 0;
  int64_t taken = 0;
  if (!read_table(table.get(), &blocks, &taken)) return -1;
  *total = blocks / 1024;
  *used = taken / 1024;
  return 0;
}
