#include "base/command.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "base/libc_section.h"

namespace {

FILE* start(const char* command) {
  const zel::LibcSection section;
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
