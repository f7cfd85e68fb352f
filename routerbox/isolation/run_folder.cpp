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

constexpr const char* kProject = "project";

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

Descriptor open_folder(const std::string& folder) {
  return Descriptor(open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

// While somebody has it, nobody else makes or looks at folders: one that is made and not yet held would be taken for
// what a dead box has left.
Descriptor take_turn(const std::string& folders) {
  Descriptor turn = open_folder(folders);
  if (!turn || retry([&] { return flock(turn.get(), LOCK_EX); }) != 0) fail_errno("cannot lock " + folders);
  return turn;
}

// Whether the folder's holder lives. Its lock goes with it, however it ends.
bool is_held(const std::string& folder) {
  const Descriptor lock = open_folder(folder);
  return lock ? flock(lock.get(), LOCK_EX | LOCK_NB) != 0 : errno != ENOENT;
}

// Removes what dead ones have left; the names of those that are held, sorted.
std::vector<std::string> sweep(const std::string& folders) {
  std::vector<std::string> names;
  const Descriptor turn = take_turn(folders);
  for (const fs::directory_entry& entry : fs::directory_iterator(folders)) {
    std::error_code ignored;
    if (is_held(entry.path()))
      names.push_back(entry.path().filename());
    else
      fs::remove_all(entry.path(), ignored);
  }
  std::sort(names.begin(), names.end());
  return names;
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

HeldFolder::HeldFolder(const std::string& name) : path_(runs_folder() + "/" + name) {
  const Descriptor turn = take_turn(runs_folder());
  if (fs::exists(path_)) {
    if (is_held(path_)) return;
    std::error_code error;
    fs::remove_all(path_, error);
    // Data of plug-ins; the next box that ends may remove them.
    if (error && rename(path_.c_str(), (runs_folder() + "/.left-" + std::to_string(getpid())).c_str()) != 0)
      fail_errno("cannot remove " + path_);
  }
  if (mkdir(path_.c_str(), 0700) != 0) fail_errno("cannot make " + path_);
  lock_ = open_folder(path_);
  if (!lock_ || flock(lock_.get(), LOCK_EX | LOCK_NB) != 0) fail_errno("cannot lock " + path_);
}

HeldFolder::~HeldFolder() {
  std::error_code ignored;
  if (lock_) fs::remove_all(path_, ignored);
}

BoxPlace::BoxPlace(const std::string& name, const std::string& project)
    : name_((check_name(name), name)), folder_(name) {
  if (!folder_) {
    const std::string other = project_of(name);
    throw Failure("a box named " + name + (other.empty() || other == project ? "" : ", of " + other + ",") +
                  " is running; routerbox down --name " + name +
                  " ends it, or give this one another name with --name");
  }
  write_file(folder() + "/" + kProject, project, 0600);
}

Descriptor BoxPlace::make_socket() const {
  Descriptor socket_end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  (folder() + "/" + kControlSocket).copy(address.sun_path, sizeof address.sun_path - 1);
  if (!socket_end || bind(socket_end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
    fail_errno("cannot make the control socket " + folder() + "/" + kControlSocket);
  return socket_end;
}

std::vector<std::string> running_boxes() {
  const std::string folders = runs_folder();
  std::vector<std::string> names = sweep(folders);
  std::erase_if(names, [](const std::string& name) { return name.starts_with("."); });  // no box's
  return names;
}

void BoxPlace::sweep_beside() const {
  const fs::path folders = fs::path(folder()).parent_path();
  if (fs::exists(folders)) sweep(folders);
}

std::string socket_of(const std::string& name) {
  check_name(name);
  return runs_folder() + "/" + name + "/" + kControlSocket;
}

std::string project_of(const std::string& name) {
  const Descriptor file(open((runs_folder() + "/" + name + "/" + kProject).c_str(), O_RDONLY | O_CLOEXEC));
  std::string folder;
  if (file) read_all(file.get(), &folder);
  return folder;
}

}  // namespace routerbox
