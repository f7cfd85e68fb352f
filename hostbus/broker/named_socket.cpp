#include "named_socket.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <cstring>

#include "start_error.h"

namespace hostbus {
namespace {

// The mask is the process's own; it is put back for whatever comes later.
class FileModeMask {
 public:
  explicit FileModeMask(mode_t mask) : old_(umask(mask)) {}
  ~FileModeMask() { umask(old_); }
  FileModeMask(const FileModeMask&) = delete;
  FileModeMask& operator=(const FileModeMask&) = delete;

 private:
  mode_t old_;
};

std::string directory_of(const std::string& path) {
  const size_t slash = path.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : path.substr(0, slash);
}

// What to do about a path that does not work.
std::string another(const std::string& option) {
  return "choose another path with " + option;
}

sockaddr_un address_of(const std::string& path, const std::string& option) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (path.empty()) throw StartError("the socket path is empty: name one with " + option);
  if (path.size() >= sizeof address.sun_path) {
    throw StartError("the socket path has " + std::to_string(path.size()) + " bytes, at most " +
                     std::to_string(sizeof address.sun_path - 1) + " fit: " + another(option));
  }
  std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
  return address;
}

void clear_path(const std::string& path, const std::string& option) {
  struct stat found {};
  if (lstat(path.c_str(), &found) != 0) return;
  if (!S_ISSOCK(found.st_mode) && !S_ISLNK(found.st_mode)) {
    throw StartError(path + " exists and is not a socket: remove it or " + another(option));
  }
  unlink(path.c_str());
}

[[noreturn]] void explain_bind(const std::string& path, const std::string& option, int error) {
  if (error == ENOENT) {
    throw StartError("directory " + directory_of(path) + " is missing: make it or " + another(option));
  }
  if (error == EACCES || error == EPERM || error == EADDRINUSE || error == EROFS) {
    throw StartError("no right to make socket " + path +
                     ": start it as root or choose a path in a directory of your own with " + option);
  }
  throw StartError("cannot make socket " + path + " (" + std::strerror(error) + "): " + another(option));
}

}  // namespace

void make_directory_of(const std::string& path) {
  const FileModeMask mask(022);  // every user must be able to reach the socket
  mkdir(directory_of(path).c_str(), 0755);
}

NamedSocket::NamedSocket(const Kind& kind, const std::string& path) : path_(path) {
  const sockaddr_un address = address_of(path, kind.option);
  clear_path(path, kind.option);
  fd_ = zel::Descriptor(socket(AF_UNIX, kind.type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
  if (!fd_) throw StartError("no descriptor left for the socket: raise the limit of open files");
  {
    const FileModeMask mask(0777 & ~kind.mode);
    if (bind(fd_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      explain_bind(path, kind.option, errno);
    }
  }
  struct stat made {};
  if (lstat(path.c_str(), &made) == 0) {
    device_ = made.st_dev;
    inode_ = made.st_ino;
  }
  if (kind.type == SOCK_STREAM && listen(fd_.get(), SOMAXCONN) != 0) explain_bind(path, kind.option, errno);
}

NamedSocket::~NamedSocket() {
  struct stat now {};
  if (lstat(path_.c_str(), &now) != 0) return;
  if (now.st_dev == device_ && now.st_ino == inode_) unlink(path_.c_str());
}

}  // namespace hostbus
