#include "run_folder.h"

#include <sys/file.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr size_t kLongestName = 40;  // so that the socket's path fits its address

// Nobody else may enter it: who can open the control socket can do all that the box's owner can.
std::string runs_folder() {
  const char* const given = std::getenv("XDG_RUNTIME_DIR");
  const bool usable = given != nullptr && std::string_view(given).size() < 40 && access(given, W_OK) == 0;
  const std::string folder =
      usable ? std::string(given) + "/routerbox" : "/tmp/routerbox-" + std::to_string(getuid());
  if (mkdir(folder.c_str(), 0700) != 0 && errno != EEXIST) fail_errno("cannot make " + folder);
  struct stat status {};
  if (lstat(folder.c_str(), &status) != 0) fail_errno("cannot look at " + folder);
  if (!S_ISDIR(status.st_mode) || status.st_uid != getuid() || (status.st_mode & 077U) != 0)
    throw Failure(folder + " is not yours alone; remove it, routerbox makes it anew");
  return folder;
}

// Held while a box's folder is made or one that was left is removed: in between, they look the same.
Descriptor take_turn(const std::string& runs) {
  Descriptor turn(open(runs.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!turn || retry([&] { return flock(turn.get(), LOCK_EX); }) != 0) fail_errno("cannot lock " + runs);
  return turn;
}

// Held by the box that lives in the folder, and gone with it however it ends.
Descriptor lock_of(const std::string& folder) {
  Descriptor lock(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (lock && flock(lock.get(), LOCK_EX | LOCK_NB) != 0) return {};
  return lock;
}

void check_name(const std::string& name) {
  const bool known =
      name.find_first_not_of("abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789._-") ==
      std::string::npos;
  if (name.empty() || name.front() == '.' || name.size() > kLongestName || !known)
    throw Failure("'" + name + "' is no name for a box; it needs 1 to " + std::to_string(kLongestName) +
                  " letters, digits, '-', '_' or '.', the last one not first");
}

}  // namespace

BoxPlace::BoxPlace(const std::string& name) : name_(name) {
  check_name(name);
  const std::string runs = runs_folder();
  const Descriptor turn = take_turn(runs);
  folder_ = runs + "/" + name;
  for (int tries = 0; tries < 2; ++tries) {
    if (mkdir(folder_.c_str(), 0700) == 0) {
      lock_ = lock_of(folder_);
      if (!lock_) break;
      return;
    }
    if (errno != EEXIST) fail_errno("cannot make " + folder_);
    if (!lock_of(folder_)) break;
    fs::remove_all(folder_);
  }
  throw Failure("a box named " + name + " is running; routerbox down --name " + name +
                " ends it, or give this one another name with --name");
}

BoxPlace::~BoxPlace() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

Descriptor BoxPlace::make_socket() const {
  Descriptor socket_end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder_ + "/" + kControlSocket).copy(address.sun_path, sizeof address.sun_path - 1);
  if (!socket_end || bind(socket_end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    fail_errno("cannot make the control socket " + folder_ + "/" + kControlSocket);
  return socket_end;
}

std::vector<std::string> running_boxes() {
  const std::string runs = runs_folder();
  const Descriptor turn = take_turn(runs);
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator(runs)) {
    if (lock_of(entry.path())) {
      std::error_code ignored;
      fs::remove_all(entry.path(), ignored);
    } else {
      names.push_back(entry.path().filename());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string socket_of(const std::string& name) {
  check_name(name);
  return runs_folder() + "/" + name + "/" + kControlSocket;
}

}  // namespace routerbox
