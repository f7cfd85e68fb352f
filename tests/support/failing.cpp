#include "support/failing.h"

#include <cjson/cJSON.h>
#include <dirent.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <new>

namespace {

struct Armed {
  Fails kind;
  int left;  // calls until the one that fails; 0 or less: it has
  int error;
};
thread_local Armed* armed = nullptr;

bool fails(Fails kind) {
  if (armed == nullptr || armed->kind != kind || --armed->left != 0) return false;
  errno = armed->error;
  return true;
}

}  // namespace

// Each row's name is made a --wrap of the linker by tests/CMakeLists.txt. A test's program that does not use a
// function has no call of it either. Optional arguments are passed on as an integer.
#define FAILS(...) FAILS_IF(true, __VA_ARGS__)
#define FAILS_IF(condition, kind, result, name, failure, parameters, ...)              \
  extern "C" result __real_##name parameters;                                          \
  extern "C" result __wrap_##name parameters {                                         \
    return (condition) && fails(Fails::kind) ? (failure) : __real_##name(__VA_ARGS__); \
  }
// A file that cannot be closed is closed all the same.
#define FAILS_AFTER(kind, result, name, failure, parameters, ...) \
  extern "C" result __real_##name parameters;                     \
  extern "C" result __wrap_##name parameters {                    \
    const bool failing = fails(Fails::kind);                      \
    const int error = errno;                                      \
    const result done = __real_##name(__VA_ARGS__);               \
    if (failing) errno = error;                                   \
    return failing ? (failure) : done;                            \
  }

// clang-format off
FAILS(kMemory, void*, malloc, nullptr, (size_t size), size)
FAILS(kMemory, void*, calloc, nullptr, (size_t count, size_t size), count, size)
FAILS(kMemory, void*, realloc, nullptr, (void* old, size_t size), old, size)
FAILS(kMemory, void*, memalign, nullptr, (size_t alignment, size_t size), alignment, size)
FAILS(kMemory, char*, strdup, nullptr, (const char* text), text)
FAILS(kMemory, int, vasprintf, -1, (char** text, const char* format, va_list arguments), text, format, arguments)
FAILS(kOpen, int, open, -1, (const char* path, int flags, unsigned mode), path, flags, mode)
FAILS(kOpen, int, open64, -1, (const char* path, int flags, unsigned mode), path, flags, mode)
FAILS(kOpen, int, openat, -1, (int folder, const char* path, int flags, unsigned mode), folder, path, flags, mode)
FAILS(kOpen, int, openat64, -1, (int folder, const char* path, int flags, unsigned mode), folder, path, flags, mode)
FAILS(kOpen, FILE*, fopen, nullptr, (const char* path, const char* mode), path, mode)
FAILS(kOpen, FILE*, fopen64, nullptr, (const char* path, const char* mode), path, mode)
FAILS(kOpen, FILE*, fdopen, nullptr, (int fd, const char* mode), fd, mode)
FAILS(kOpen, DIR*, opendir, nullptr, (const char* path), path)
FAILS(kOpen, DIR*, fdopendir, nullptr, (int fd), fd)
FAILS(kOpen, int, pipe2, -1, (int* ends, int flags), ends, flags)
FAILS(kOpen, int, eventfd, -1, (unsigned count, int flags), count, flags)
FAILS(kRead, ssize_t, read, -1, (int fd, void* bytes, size_t size), fd, bytes, size)
FAILS(kRead, ssize_t, readv, -1, (int fd, const iovec* places, int count), fd, places, count)
FAILS(kRead, ssize_t, readlink, -1, (const char* path, char* text, size_t size), path, text, size)
FAILS(kRead, ssize_t, recv, -1, (int fd, void* bytes, size_t size, int flags), fd, bytes, size, flags)
FAILS(kRead, size_t, fread, 0, (void* bytes, size_t size, size_t count, FILE* file), bytes, size, count, file)
FAILS(kRead, char*, fgets, nullptr, (char* line, int size, FILE* file), line, size, file)
FAILS(kRead, off_t, lseek, -1, (int fd, off_t offset, int whence), fd, offset, whence)
FAILS(kRead, off64_t, lseek64, -1, (int fd, off64_t offset, int whence), fd, offset, whence)
FAILS(kWrite, ssize_t, write, -1, (int fd, const void* bytes, size_t size), fd, bytes, size)
FAILS(kWrite, ssize_t, pwrite, -1, (int fd, const void* bytes, size_t size, off_t at), fd, bytes, size, at)
FAILS(kWrite, ssize_t, pwrite64, -1, (int fd, const void* bytes, size_t size, off64_t at), fd, bytes, size, at)
FAILS(kWrite, size_t, fwrite, 0, (const void* bytes, size_t size, size_t count, FILE* file), bytes, size, count, file)
FAILS(kWrite, int, fputs, -1, (const char* text, FILE* file), text, file)
FAILS(kWrite, ssize_t, send, -1, (int fd, const void* bytes, size_t size, int flags), fd, bytes, size, flags)
FAILS(kWrite, ssize_t, sendfile64, -1, (int to, int from, off64_t* at, size_t size), to, from, at, size)
FAILS(kFlush, int, fflush, -1, (FILE* file), file)
FAILS(kFlush, int, fsync, -1, (int fd), fd)
FAILS(kRename, int, rename, -1, (const char* from, const char* to), from, to)
FAILS(kRename, int, renameat, -1, (int from, const char* name, int to, const char* now), from, name, to, now)
FAILS(kRename, int, unlink, -1, (const char* path), path)
FAILS(kRename, int, unlinkat, -1, (int folder, const char* path, int flags), folder, path, flags)
FAILS(kRename, int, symlink, -1, (const char* target, const char* path), target, path)
FAILS(kRename, int, mkdir, -1, (const char* path, mode_t mode), path, mode)
FAILS(kStat, int, access, -1, (const char* path, int mode), path, mode)
FAILS(kStat, int, stat, -1, (const char* path, struct stat* status), path, status)
FAILS(kStat, int, stat64, -1, (const char* path, struct stat64* status), path, status)
FAILS(kStat, int, lstat64, -1, (const char* path, struct stat64* status), path, status)
FAILS(kStat, int, statx, -1, (int folder, const char* path, int flags, unsigned mask, struct statx* status),
      folder, path, flags, mask, status)
FAILS(kStat, int, fchown, -1, (int fd, uid_t user, gid_t group), fd, user, group)
FAILS(kStat, int, fchmod, -1, (int fd, mode_t mode), fd, mode)
FAILS(kProgram, pid_t, fork, -1, (), )
FAILS(kProgram, FILE*, popen, nullptr, (const char* command, const char* mode), command, mode)
FAILS(kProgram, int, system, -1, (const char* command), command)
FAILS(kSocket, int, socket, -1, (int domain, int type, int protocol), domain, type, protocol)
FAILS(kSocket, int, connect, -1, (int fd, const void* address, unsigned size), fd, address, size)
FAILS(kSocket, int, select, -1, (int count, fd_set* in, fd_set* out, fd_set* bad, timeval* limit),
      count, in, out, bad, limit)
FAILS(kSocket, int, poll, -1, (pollfd* events, nfds_t count, int limit), events, count, limit)
using Body = void*(void*);
FAILS(kThread, int, pthread_create, errno, (pthread_t* thread, const pthread_attr_t* how, Body* body, void* argument),
      thread, how, body, argument)
FAILS(kSegment, int, ftok, -1, (const char* path, int project), path, project)
FAILS(kSegment, int, shmget, -1, (int key, size_t size, int flags), key, size, flags)
FAILS(kSegment, void*, shmat, reinterpret_cast<void*>(-1), (int id, const void* at, int flags), id, at, flags)
FAILS(kSemaphore, int, semget, -1, (int key, int count, int flags), key, count, flags)
FAILS(kSemaphore, int, semctl, -1, (int id, int number, int command, long value), id, number, command, value)
// Only taking can fail: what is given is never waited for.
FAILS_IF(operations->sem_op < 0, kSemaphore, int, semop, -1, (int id, sembuf* operations, size_t count),
      id, operations, count)
FAILS_AFTER(kClose, int, close, -1, (int fd), fd)
FAILS_AFTER(kClose, int, fclose, -1, (FILE* file), file)
FAILS_AFTER(kProgram, int, pclose, -1, (FILE* pipe), pipe)
FAILS_AFTER(kSegment, int, shmdt, -1, (const void* address), address)
// clang-format on

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return fails(Fails::kMemory) ? nullptr : __real_malloc(size != 0 ? size : 1);
}
void* operator new[](size_t size, const std::nothrow_t& quietly) noexcept {
  return operator new(size, quietly);
}
void* operator new(size_t size) {
  void* const memory = operator new(size, std::nothrow);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void* operator new[](size_t size) {
  return operator new(size);
}
void operator delete(void* memory) noexcept {
  free(memory);
}
void operator delete[](void* memory) noexcept {
  free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
  free(memory);
}

Failing::Failing(Fails kind, int nth, int error) {
  static Armed only;
  only = {kind, nth, error};
  armed = &only;
  cJSON_Hooks hooks{__wrap_malloc, free};
  cJSON_InitHooks(&hooks);
}

Failing::~Failing() {
  armed = nullptr;
  cJSON_InitHooks(nullptr);
}

bool Failing::has_failed() const {
  return armed->left <= 0;
}
