#include "base/command.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <mutex>

#include "base/in_child.h"

namespace {

// popen holds a lock of its own while it starts a program, and a child that is forked meanwhile would find it held for
// ever. So a fork waits for that moment. Recursive, since older popens fork, and a signal's handler may.
zel::Mutex start_mutex(PTHREAD_MUTEX_RECURSIVE);
[[maybe_unused]] const int forks_wait =
    pthread_atfork([] { start_mutex.lock(); }, [] { start_mutex.unlock(); }, nullptr);

FILE* start(const char* command) {
  const std::lock_guard hold(start_mutex);
  return popen(command, "re");
}

}  // namespace

namespace zel {

Command::Command(const char* command) : pipe_(command != nullptr ? start(command) : nullptr) {}

// Not through the stream, which gives up when a signal interrupts a read.
bool Command::fill() {
  const ssize_t count = retry([&] { return read(fileno(pipe_.get()), buffer_, sizeof buffer_); });
  next_ = 0;
  end_ = count > 0 ? static_cast<size_t>(count) : 0;
  return count > 0;
}

bool Command::read_line(char* line, size_t size) {
  size_t length = 0;
  bool ended = false;
  while (!ended && length < size - 1 && (next_ < end_ || fill())) {
    const size_t most = std::min(end_ - next_, size - 1 - length);
    const void* const feed = memchr(buffer_ + next_, '\n', most);
    ended = feed != nullptr;
    const size_t count =
        ended ? static_cast<size_t>(static_cast<const char*>(feed) + 1 - (buffer_ + next_)) : most;
    memcpy(line + length, buffer_ + next_, count);
    length += count;
    next_ += count;
  }
  if (length > 0) line[length] = '\0';
  return length > 0;
}

}  // namespace zel
