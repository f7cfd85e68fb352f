// Inserting the hundredth plug-in, beside writing a file of that size so that it survives a power cut.
#include <fcntl.h>
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "pairs.h"

namespace {

constexpr char kPackageFile[] = "/etc/norva/packages.json";
constexpr int kPlugins = 97;  // and the two the router reserves: one slot is left
constexpr int kLastSlot = PERM_PLUGIN_SLOTS - 1;

[[noreturn]] void give_up(const char* what) {
  std::perror(what);
  std::exit(1);
}

void fill_table() {
  FILE* const file = std::fopen(kPackageFile, "we");
  if (file == nullptr) give_up(kPackageFile);
  for (int i = 0; i < kPlugins; ++i)
    std::fprintf(file, R"(%s{"appname": "plugin", "appid": "%d", "abilitybits": 2, "uid": %d})",
                 i == 0 ? R"({"plugin": [)" : ",", 3001 + i, 10001 + i);
  std::fputs("]}\n", file);
  if (std::fclose(file) != 0 || perm_init() != 0) give_up("perm_init");
}

// The slot is emptied again by hand; that costs nothing that could be seen beside a file.
void insert_last(perm_table* table) {
  static const perm_plugin_info plugin{20001, "4001", "plugin", 2};
  if (perm_insert(&plugin) != 0 || table->plugin_count != PERM_PLUGIN_SLOTS) give_up("perm_insert");
  std::memset(&table->plugins[kLastSlot], 0, sizeof table->plugins[kLastSlot]);
  --table->plugin_count;
}

// What no safe replacing of a file can do without.
void replace_bare(const std::string& folder, const std::string& path, const std::string& text) {
  const std::string beside = path + ".bare";
  const int file = open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
  if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size()) ||
      fsync(file) != 0 || close(file) != 0 || std::rename(beside.c_str(), path.c_str()) != 0)
    give_up(path.c_str());
  const int opened = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (opened < 0 || fsync(opened) != 0 || close(opened) != 0) give_up(folder.c_str());
}

// A package file in that folder, which the one at the fixed place is then a link to.
void compare_in(const std::string& folder, const std::string& what, perm_table* table) {
  const std::string file = folder + "/bench-packages.json";
  const std::string peer = folder + "/bench-peer.json";
  const auto link = [=] {
    unlink(kPackageFile);
    if (symlink(file.c_str(), kPackageFile) != 0) give_up("symlink");
  };
  link();
  insert_last(table);
  FILE* const written = std::fopen(file.c_str(), "re");
  if (written == nullptr) give_up(file.c_str());
  std::string text(1 << 16, '\0');
  text.resize(std::fread(text.data(), 1, text.size(), written));
  std::fclose(written);
  pairs::compare(
      "100th perm_insert / write+sync " + std::to_string(text.size()) + " B, " + what,
      [=] { insert_last(table); }, [=] { replace_bare(folder, peer, text); }, link);
}

// Where this program was built: on the machine's disk, while the box's own folders are in memory.
std::string folder_on_disk() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
  if (length <= 0) give_up("/proc/self/exe");
  const std::string program(path, static_cast<size_t>(length));
  return program.substr(0, program.rfind('/'));
}

}  // namespace

int main(int argc, char** argv) {
  zel_debug = 0;
  fill_table();
  perm_table* const table = perm_common_shm_map(perm_common_shm_init());
  if (table == nullptr) give_up("the table");
  const std::string disk = folder_on_disk();
  compare_in(disk, "disk", table);
  compare_in("/etc/norva", "RAM", table);
  const int status = pairs::run(argc, argv);
  for (const char* name : {"/bench-packages.json", "/bench-peer.json"}) unlink((disk + name).c_str());
  return status;
}
