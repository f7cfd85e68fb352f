#include "data_folders.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "../support/io.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

// For the plug-in, whoever it belongs to.
void copy_for_all(const fs::path& from, const fs::path& to) {
  fs::copy(from, to, fs::copy_options::recursive);
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(to))
    fs::permissions(entry.path(), fs::perms(entry.is_directory() ? 0777 : 0666), fs::perm_options::add);
}

// What cannot be looked at or changed stays as it is.
template <class Change>
void change_owners(const std::string& folder, Change new_owner) {
  std::error_code error;
  for (fs::recursive_directory_iterator entry(folder, error), end; entry != end && !error;
       entry.increment(error)) {
    struct stat status {};
    if (lstat(entry->path().c_str(), &status) != 0) continue;
    const auto [uid, gid] = new_owner(status);
    if (uid != status.st_uid && lchown(entry->path().c_str(), uid, gid) != 0)
      entry.disable_recursion_pending();
  }
}

}  // namespace

// Nobody but root passes the folder they lie in, so each plug-in sees its own alone.
void make_data(const PluginRun& plugin) {
  if (plugin.data.empty() || fs::exists(plugin.data)) return;
  const fs::path above = fs::path(plugin.data).parent_path();
  if (!fs::exists(above)) make_folder(above, 0700);
  make_folder(plugin.data, 0777);
  if (!plugin.first_data.empty()) copy_for_all(plugin.first_data, plugin.data);
}

void take_back(const PluginRun& plugin) {
  if (plugin.data.empty()) return;
  change_owners(plugin.data, [&](const struct stat& status) {
    const bool was_its_own = status.st_uid == 0 && status.st_gid == plugin.uid;
    return std::pair(was_its_own ? plugin.uid : status.st_uid, status.st_gid);
  });
}

void hand_over(const std::string& folder) {
  change_owners(folder, [](const struct stat& status) { return std::pair(uid_t{0}, gid_t{status.st_uid}); });
}

}  // namespace routerbox
