#include "mounts.h"

#include <dirent.h>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>

#include "../support/io.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

using Wanted = std::function<bool(const std::string&)>;

std::string link_target(int folder, const std::string& name) {
  char target[4096];
  const ssize_t length = readlinkat(folder, name.c_str(), target, sizeof target);
  if (length < 0) fail_errno("cannot read the link " + name);
  return {target, static_cast<size_t>(length)};
}

// Shows entry `name` of the covered folder, open as `original`, at `place` in the tmpfs above it.
void put_back(int original, const std::string& name, const std::string& place) {
  struct stat status {};
  if (fstatat(original, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
    if (errno == ENOENT) return;  // removed since the folder was read
    fail_errno("cannot look at " + place);
  }
  if (S_ISLNK(status.st_mode)) {
    if (symlink(link_target(original, name).c_str(), place.c_str()) != 0)
      fail_errno("cannot make the link " + place);
    return;
  }
  const bool made = S_ISDIR(status.st_mode) ? mkdir(place.c_str(), 0755) == 0
                                            : mknod(place.c_str(), S_IFREG | 0644, 0) == 0;
  if (!made) fail_errno("cannot make " + place);
  // Through the open descriptor: the path leads to the new tmpfs by now. Recursive, because a user namespace
  // may not part a mount from those below it.
  const std::string source = "/proc/self/fd/" + std::to_string(original) + "/" + name;
  if (mount(source.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0 && errno != ENOENT)
    fail_errno("cannot show " + place + " in the box");
}

void cover(const std::string& path, mode_t mode, const Wanted& wanted) {
  const zel::Directory original(opendir(path.c_str()));
  if (!original) fail_errno("cannot read the folder " + path);
  char options[16];
  std::snprintf(options, sizeof options, "mode=%o", static_cast<unsigned>(mode));
  if (mount("routerbox", path.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, options) != 0)
    fail_errno("cannot lay a private folder over " + path);
  while (const dirent* entry = readdir(original.get())) {
    const std::string name = entry->d_name;
    if (name != "." && name != ".." && wanted(name))
      put_back(dirfd(original.get()), name, fs::path(path) / name);
  }
}

// Everything of the machine is at its own place until the tree is entered, but for this folder, over which it grows.
constexpr const char* kTree = "/sys";
// It is the machine's memory that fills it.
constexpr const char* kTreeOptions = "mode=755,size=1g,nr_inodes=100k";

std::string tree(const fs::path& path) {
  return std::string(kTree) + (path == "/" ? "" : path.string());
}

void set_read_only(const std::string& path, bool read_only, bool with_those_below) {
  mount_attr attributes{};
  (read_only ? attributes.attr_set : attributes.attr_clr) = MOUNT_ATTR_RDONLY;
  if (mount_setattr(AT_FDCWD, path.c_str(), with_those_below ? AT_RECURSIVE : 0, &attributes,
                    sizeof attributes) != 0)
    fail_errno("cannot make " + path + (read_only ? " read-only" : " writable") + " in the box");
}

bool is_below(const fs::path& path, const fs::path& folder) {
  const fs::path relative = path.lexically_relative(folder);
  return !relative.empty() && *relative.begin() != "..";
}

struct Row {
  fs::path path;
  const PrivateFolder* folder = nullptr;  // null: only a way to one
};

class Tree {
 public:
  Tree(const std::vector<PrivateFolder>& folders, const Descriptor& machine_sys) : sys_(machine_sys.get()) {
    for (const PrivateFolder& folder : folders) rows_.push_back({resolve(folder.path), &folder});
  }

  // A folder that is private or leads to one is made; what it shows of the machine is bound into it.
  void grow(const fs::path& path) {
    const PrivateFolder* const folder = private_at(path);
    const mode_t mode = folder != nullptr ? folder->mode : 0755;
    if (path != "/") make_folder(tree(path), mode);
    if (folder == nullptr || folder->cover == Cover::kMirror) mirror(path, folder);
    for (const Row& row : rows_)
      if (row.path.parent_path() == path && row.path != path &&
          !fs::exists(fs::symlink_status(tree(row.path))))
        grow(row.path);
  }

 private:
  static fs::path resolve(const std::string& path) {
    std::error_code error;
    const fs::path real = fs::weakly_canonical(path, error);
    return error ? fs::path(path) : real;
  }

  const PrivateFolder* private_at(const fs::path& path) const {
    for (const Row& row : rows_)
      if (row.path == path) return row.folder;
    return nullptr;
  }

  bool leads_to_private(const fs::path& path) const {
    return std::any_of(rows_.begin(), rows_.end(), [&](const Row& row) { return is_below(row.path, path); });
  }

  void mirror(const fs::path& path, const PrivateFolder* folder) {
    const zel::Directory machine(opendir(path.c_str()));
    if (!machine) return;  // the box has it, the machine has not
    while (const dirent* entry = readdir(machine.get())) {
      const std::string name = entry->d_name;
      const fs::path place = path / name;
      if (name == "." || name == ".." || place == "/proc") continue;
      if (folder != nullptr && std::count(folder->own.begin(), folder->own.end(), name) > 0) continue;
      if (place == kTree)
        show_sys();
      else if (leads_to_private(place) && !fs::is_symlink(place))
        grow(place);
      else
        put_back(dirfd(machine.get()), name, tree(place));
    }
  }

  void show_sys() const {
    make_folder(tree(kTree));
    const std::string source = "/proc/self/fd/" + std::to_string(sys_);
    if (mount(source.c_str(), tree(kTree).c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
      fail_errno("cannot show /sys in the box");
  }

  std::vector<Row> rows_;
  const int sys_;
};

void make_way(const fs::path& path) {
  fs::path walked;
  for (const fs::path& part : path) {
    walked /= part;
    if (!fs::exists(tree(walked))) make_folder(tree(walked));
  }
}

void make_mount_point(const fs::path& source, const fs::path& place) {
  if (fs::is_directory(source)) {
    make_way(place);
    return;
  }
  make_way(place.parent_path());
  if (!fs::exists(tree(place)) && mknod(tree(place).c_str(), S_IFREG | 0644, 0) != 0)
    fail_errno("cannot make " + place.string());
}

void keep(const Kept& kept) {
  std::error_code error;
  const fs::path real = fs::canonical(kept.path, error);
  if (error) throw Failure("cannot show " + kept.path + " in the box: " + error.message());
  const fs::path place = kept.at.empty() ? real : fs::weakly_canonical(kept.at);
  make_mount_point(real, place);
  if (mount(real.c_str(), tree(place).c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0)
    fail_errno("cannot show " + real.string() + " in the box");
  set_read_only(tree(place), !kept.writable, true);
  // Also under the name it was given by, where a link of a private folder led to it.
  const fs::path given = fs::path(kept.path).lexically_normal();
  if (!kept.at.empty() || given == real || fs::exists(fs::symlink_status(tree(given)))) return;
  make_way(given.parent_path());
  if (symlink(real.c_str(), tree(given).c_str()) != 0) fail_errno("cannot make the link " + given.string());
}

// The kernel parts mounts only, and in a chroot / may be a folder of one.
constexpr const char* kPlainChroot =
    "in a chroot / must be a mount: run mount --rbind DIR DIR before chroot DIR, or take a container";

void part_from_machine() {
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    fail_errno("cannot part the box's mounts from the machine's", errno == EINVAL ? kPlainChroot : "");
  if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
    fail_errno("cannot mount the box's own /proc", "in a container start it with its /proc unmasked");
}

// The kernel's settings are the machine's, whoever writes them.
void mount_proc() {
  make_folder(tree("/proc"), 0555);
  if (mount("proc", tree("/proc").c_str(), "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
    fail_errno("cannot mount the box's own /proc");
  for (const char* settings : {"/proc/sys", "/proc/sysrq-trigger"}) {
    const std::string place = tree(settings);
    if (access(place.c_str(), F_OK) != 0) continue;
    if (mount(place.c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0)
      fail_errno(std::string("cannot protect ") + settings);
    set_read_only(place, true, false);
  }
}

void change_root() {
  if (chdir(kTree) != 0 || syscall(SYS_pivot_root, ".", ".") != 0 || umount2(".", MNT_DETACH) != 0 ||
      chdir("/") != 0)
    fail_errno("cannot enter the box's own tree");
  // What root mounts later is seen by plug-ins too, which have a view of their own.
  if (mount(nullptr, "/", nullptr, MS_REC | MS_SHARED, nullptr) != 0)
    fail_errno("cannot share the box's tree");
}

}  // namespace

void enter_own_tree(const std::vector<PrivateFolder>& folders, const std::vector<Kept>& kept) {
  part_from_machine();
  const Descriptor sys(open(kTree, O_PATH | O_DIRECTORY | O_CLOEXEC));
  if (!sys) fail_errno(std::string("the box needs a folder ") + kTree + " on this machine");
  Tree own(folders, sys);
  if (mount("routerbox", kTree, "tmpfs", MS_NOSUID | MS_NODEV, kTreeOptions) != 0)
    fail_errno("cannot make the box's own tree");
  own.grow("/");
  set_read_only(kTree, true, true);
  set_read_only(kTree, false, false);
  for (const Kept& path : kept) keep(path);
  mount_proc();
  change_root();
}

std::vector<std::string> open_way(const std::string& folder) {
  std::vector<std::string> opened;
  fs::path walked;
  for (const fs::path& part : fs::path(folder)) {
    walked /= part;
    struct stat status {};
    if (stat(walked.c_str(), &status) != 0 || (status.st_mode & S_IXOTH) != 0) continue;
    cover(walked, (status.st_mode & 07777U) | S_IXUSR | S_IXGRP | S_IXOTH,
          [](const std::string&) { return true; });
    opened.push_back(walked);
  }
  return opened;
}

}  // namespace routerbox
