// Copying a file of any kind but a directory.
#include <fcntl.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utime.h>
#include <zel/file.h>

#include <cerrno>
#include <cstdio>
#include <utility>

#include "base/handles.h"
#include "base/qo_level.h"

using zel::kQoDebug;
using zel::kQoError;

namespace {

int fail(const char* format, const char* path) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  QO_Log(kQoError, format, path);
#pragma GCC diagnostic pop
  return -1;
}

// ---- Regular files

zel::File open_destination(const char* path, mode_t mode, bool exists) {
  if (exists) {
    zel::File file = zel::open_file(path, "we");
    if (file) return file;
    if (unlink(path) != 0) {
      fail("unable to remove `%s'", path);
      return nullptr;
    }
  }
  // Bits beyond the permissions come with the owner, lest the copy be another user's program for a moment.
  zel::Descriptor descriptor = zel::open_at(AT_FDCWD, path, O_WRONLY | O_CREAT | O_TRUNC, mode & 0777);
  zel::File file(descriptor ? fdopen(descriptor.get(), "w") : nullptr);
  if (file) {
    descriptor.release();
  } else {
    fail("unable to open `%s'", path);
  }
  return file;
}

// Lets the kernel copy from one descriptor to the other without a way through this process. Stops at the end, at
// a failure, or where the files do not allow it; both descriptors then stand at the first byte not copied.
void copy_in_kernel(int source, int destination) {
  constexpr size_t kPiece = 1U << 24;
  while (zel::retry([&] { return sendfile(destination, source, nullptr, kPiece); }) > 0) continue;
}

int copy_file_data(FILE* source, FILE* destination) {
  copy_in_kernel(fileno(source), fileno(destination));
  // The rest, if any. Every failure shows here, and whether it is the source's or the destination's.
  char block[4096];
  for (;;) {
    const size_t count = fread(block, 1, sizeof block, source);
    if (count < sizeof block && ferror(source)) {
      QO_Log(kQoDebug, "read");
      return -1;
    }
    if (count == 0) return 0;
    if (fwrite(block, 1, count, destination) < count) {
      QO_Log(kQoDebug, ferror(destination) ? "write" : "Unable to write all data");
      return -1;
    }
  }
}

int close_file(zel::File file, const char* path) {
  return zel::close_written(std::move(file)) ? 0 : fail("unable to close `%s'", path);
}

// `opened` tells whether there is a destination to give the source's attributes.
int copy_regular(const char* source, const char* destination, mode_t mode, bool exists, bool* opened) {
  zel::File out = open_destination(destination, mode, exists);
  if (!out) return -1;
  zel::File in = zel::open_file(source, "re");
  if (!in) return fail("unable to open `%s'", source);
  *opened = true;
  const int copied = copy_file_data(in.get(), out.get());
  const int out_closed = close_file(std::move(out), destination);
  const int in_closed = close_file(std::move(in), source);
  return copied == 0 && out_closed == 0 && in_closed == 0 ? 0 : -1;
}

// ---- Other kinds

int copy_link(const char* source, const char* destination, const struct stat& status) {
  const zel::Memory<char> target(xreadlink(source));
  if (!target || symlink(target.get(), destination) != 0) {
    return fail("cannot create symlink `%s'", destination);
  }
  if (lchown(destination, status.st_uid, status.st_gid) != 0) {
    fail("unable to preserve ownership of `%s'", destination);
  }
  return 0;
}

void preserve_attributes(const char* path, const struct stat& source) {
  const utimbuf times{source.st_atime, source.st_mtime};
  mode_t mode = source.st_mode & 07777;
  if (utime(path, &times) != 0) fail("unable to preserve times of `%s'", path);
  if (chown(path, source.st_uid, source.st_gid) != 0) {
    mode &= ~static_cast<mode_t>(S_ISUID | S_ISGID);
    fail("unable to preserve ownership of `%s'", path);
  }
  if (chmod(path, mode) != 0) fail("unable to preserve permissions of `%s'", path);
}

bool same_file(const struct stat& a, const struct stat& b) {
  // Kept: not st_dev, so files of two file systems that happen to share an inode number count as one.
  return a.st_ino == b.st_ino && a.st_rdev == b.st_rdev;
}

// Returns 0 or -1; `exists` tells whether there is a destination.
int check_destination(const char* source, const char* path, const struct stat& status, bool* exists) {
  struct stat found;
  *exists = stat(path, &found) == 0;
  if (*exists && same_file(status, found)) {
    QO_Log(kQoError, "`%s' and `%s' are the same file", source, path);
    return -1;
  }
  if (!*exists && errno != ENOENT) return fail("unable to stat `%s'", path);
  return 0;
}

int copy_file_entry(const char* source, const char* destination) {
  if (source == nullptr || destination == nullptr) return -1;
  struct stat status;
  // The source itself, so that a link is copied as a link.
  if (lstat(source, &status) != 0) return fail("%s", source);
  bool exists = false;
  if (check_destination(source, destination, status, &exists) != 0) return -1;

  int result = 0;
  bool made = true;
  switch (status.st_mode & S_IFMT) {
    case S_IFDIR:
      return fail("%s: omitting directory", source);
    case S_IFLNK:
      return copy_link(source, destination, status);
    case S_IFREG:
      made = false;
      result = copy_regular(source, destination, status.st_mode, exists, &made);
      break;
    case S_IFCHR:
    case S_IFBLK:
    case S_IFSOCK:
      if (mknod(destination, status.st_mode, status.st_rdev) != 0) {
        return fail("unable to create `%s'", destination);
      }
      break;
    case S_IFIFO:
      if (mkfifo(destination, status.st_mode) != 0) return fail("cannot create fifo `%s'", destination);
      break;
    default:
      QO_Log(kQoError, "internal error: unrecognized file type");
      return -1;
  }
  if (made) preserve_attributes(destination, status);
  return result;
}

}  // namespace

int zel_file_copy(const char* source, const char* destination) {
  const int result = copy_file_entry(source, destination);
  if (result != 0) {
    QO_Log(kQoError, "Failed to copy file %s to %s.\n", zel::printable(source), zel::printable(destination));
  }
  return result;
}

int zel_file_move(const char* source, const char* destination) {
  QO_Log(kQoDebug, "mv from %s to %s.\n", zel::printable(source), zel::printable(destination));
  const bool given = source != nullptr && destination != nullptr;
  if (given && rename(source, destination) == 0) return 0;
  if (given && errno == EXDEV) {
    const int copied = zel_file_copy(source, destination);
    if (copied == 0) unlink(source);
    return copied;
  }
  QO_Log(kQoError, "Failed to rename %s to %s", zel::printable(source), zel::printable(destination));
  return -1;
}
