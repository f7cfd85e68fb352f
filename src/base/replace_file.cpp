#include "base/replace_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

constexpr int kMostLinks = 40;  // The kernel's own limit.
constexpr int kMostNames = 100;

// Replaces `path` by what it leads to, which need not exist yet.
bool follow_links(char (&path)[PATH_MAX]) {
  for (int links = 0;; ++links) {
    char to[PATH_MAX];
    const ssize_t length = readlink(path, to, sizeof to - 1);
    if (length < 0) return errno == EINVAL || errno == ENOENT;  // No link; or nothing there yet.
    if (links == kMostLinks) return false;
    to[length] = '\0';
    const char* const slash = strrchr(path, '/');
    const size_t kept = to[0] == '/' || slash == nullptr ? 0 : static_cast<size_t>(slash + 1 - path);
    if (kept + static_cast<size_t>(length) >= sizeof path) return false;
    memcpy(path + kept, to, static_cast<size_t>(length) + 1);
  }
}

// Cuts the name off and opens the folder that is left.
zel::Descriptor open_folder(char (&path)[PATH_MAX], const char** name) {
  constexpr int kHow = O_RDONLY | O_DIRECTORY;
  char* const slash = strrchr(path, '/');
  *name = slash != nullptr ? slash + 1 : path;
  if (slash == nullptr) return zel::open_at(AT_FDCWD, ".", kHow);
  if (slash == path) return zel::open_at(AT_FDCWD, "/", kHow);
  *slash = '\0';
  return zel::open_at(AT_FDCWD, path, kHow);
}

void remove_left_over(int folder, const char* prefix) {
  zel::Descriptor again = zel::open_at(folder, ".", O_RDONLY | O_DIRECTORY);
  const zel::Directory listing(fdopendir(again.get()));
  if (!listing) return;
  again.release();
  while (const dirent* const entry = readdir(listing.get())) {
    if (strncmp(entry->d_name, prefix, strlen(prefix)) == 0) unlinkat(folder, entry->d_name, 0);
  }
}

struct Attributes {
  mode_t mode = 0;
  uid_t user = 0;
  gid_t group = 0;
};

// Whether they could be read. statx first: where times have 32 bits, fstat refuses a file dated after 2038. Kernels
// before 4.11 have no statx and no such files; C libraries may be older still.
bool read_attributes(int fd, Attributes* attributes) {
#ifdef STATX_TYPE
  struct statx extended {};
  if (statx(fd, "", AT_EMPTY_PATH, STATX_TYPE | STATX_MODE | STATX_UID | STATX_GID, &extended) == 0) {
    *attributes = {extended.stx_mode, extended.stx_uid, extended.stx_gid};
    return true;
  }
  if (errno != ENOSYS && errno != EPERM) return false;  // missing, or forbidden by a sandbox older than it
#endif
  struct stat status {};
  if (fstat(fd, &status) != 0) return false;
  *attributes = {status.st_mode, status.st_uid, status.st_gid};
  return true;
}

bool write_whole(int fd, const char* text, size_t length) {
  while (length > 0) {
    const ssize_t written = zel::retry([&] { return write(fd, text, length); });
    if (written <= 0) return false;
    text += written;
    length -= static_cast<size_t>(written);
  }
  return true;
}

// A number that cannot be foreseen, if the system gives one. From its device: getrandom is younger than the kernels
// of some routers.
unsigned another(unsigned number) {
  unsigned random = 0;
  const zel::Descriptor source(open("/dev/urandom", O_RDONLY | O_CLOEXEC));
  return source && read(source.get(), &random, sizeof random) == sizeof random ? random : number + 1;
}

}  // namespace

namespace zel {

FileReplacement::FileReplacement(const char* path) {
  char target[PATH_MAX];
  if (snprintf(target, sizeof target, "%s", path) >= static_cast<int>(sizeof target)) return;
  if (!follow_links(target)) return;
  const char* name = nullptr;
  folder_ = open_folder(target, &name);
  if (folder_ && !open_beside(name)) file_ = Descriptor();
}

FileReplacement::~FileReplacement() {
  if (temporary_[0] != '\0') unlinkat(folder_.get(), temporary_, 0);
}

bool FileReplacement::open_beside(const char* name) {
  if (snprintf(name_, sizeof name_, "%s", name) >= static_cast<int>(sizeof name_)) return false;
  Descriptor old = open_at(folder_.get(), name, O_RDWR);
  if (!old) return errno == ENOENT && create(0666);

  Attributes kept;
  if (!read_attributes(old.get(), &kept)) return false;
  if (!S_ISREG(kept.mode)) {
    file_ = std::move(old);  // A device, say: it has no content to keep, and must not become a file.
    return true;
  }
  mode_ = kept.mode & 07777U;
  return create(0600) && fchown(file_.get(), kept.user, kept.group) == 0;
}

bool FileReplacement::create(mode_t mode) {
  char prefix[NAME_MAX + 1];
  char temporary[NAME_MAX + 1];
  if (snprintf(prefix, sizeof prefix, ".%s.new-", name_) >= static_cast<int>(sizeof prefix)) return false;
  remove_left_over(folder_.get(), prefix);
  auto suffix = static_cast<unsigned>(syscall(SYS_gettid));
  for (int tries = 0; tries < kMostNames; ++tries) {
    const int length = snprintf(temporary, sizeof temporary, "%s%u", prefix, suffix);
    if (length >= static_cast<int>(sizeof temporary)) return false;
    file_ = open_at(folder_.get(), temporary, O_WRONLY | O_CREAT | O_EXCL, mode);
    if (file_) memcpy(temporary_, temporary, sizeof temporary_);
    if (file_ || errno != EEXIST) break;
    // A folder has the name, maybe on purpose: the next one cannot be foreseen.
    suffix = another(suffix);
  }
  return static_cast<bool>(file_);
}

bool FileReplacement::finish(const char* text, size_t length) {
  if (!write_whole(file_.get(), text, length)) return false;
  // Last: a change of the owner clears bits of the mode, and so does whatever an ordinary user's root writes.
  if (mode_ && fchmod(file_.get(), *mode_) != 0) return false;
  const bool flushed = temporary_[0] == '\0' || fsync(file_.get()) == 0;
  const bool closed = close_written(std::move(file_));
  return flushed && closed && (temporary_[0] == '\0' || move_into_place());
}

bool FileReplacement::move_into_place() {
  if (renameat(folder_.get(), temporary_, folder_.get(), name_) != 0) return false;
  temporary_[0] = '\0';
  // Some file systems have nothing to flush for a folder, and say so.
  return fsync(folder_.get()) == 0 || errno == EINVAL;
}

}  // namespace zel
