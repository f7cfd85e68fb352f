#include "mounts.h"

#include <dirent.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <memory>

#include "io.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

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
  std::unique_ptr<DIR, CloseFolder> original(opendir(path.c_str()));
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

// The entry of `folder` that is or holds `path`; empty when `path` is not below it.
std::string entry_towards(const std::string& path, const std::string& folder) {
  if (path.size() <= folder.size() + 1 || path.compare(0, folder.size(), folder) != 0 ||
      path[folder.size()] != '/')
    return {};
  const size_t begin = folder.size() + 1;
  return path.substr(begin, path.find('/', begin) - begin);
}

}  // namespace

void isolate_mounts() {
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    fail_errno("cannot part the box's mounts from the host's");
  if (mount("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC, nullptr) != 0)
    fail_errno("cannot mount the box's own /proc", "in a container start it with its /proc unmasked");
}

void make_private(const PrivateFolder& folder, const std::vector<std::string>& keep) {
  std::error_code error;
  const std::string path = fs::canonical(folder.path, error);
  if (error) throw Failure("the box needs a folder " + folder.path + " on this machine: " + error.message());
  std::vector<std::string> kept(keep.size());
  std::transform(keep.begin(), keep.end(), kept.begin(),
                 [&](const std::string& wanted) { return entry_towards(wanted, path); });
  const auto among = [](const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
  };
  cover(path, folder.mode, [&](const std::string& name) {
    return !among(folder.own, name) && (folder.cover == Cover::kMirror || among(kept, name));
  });
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
