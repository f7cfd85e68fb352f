// command.h: a program of the router's, and what it prints.
#pragma once

#include <cstddef>
#include <cstdio>
#include <memory>

#include "base/handles.h"
#include "base/uncancelled.h"

namespace zel {

// Runs in the shell as the caller's user. Its output is read whole, whatever signals the plug-in gets meanwhile.
class Command {
 public:
  // Null starts nothing.
  explicit Command(const char* command);

  // Whether it could be started.
  explicit operator bool() const noexcept { return static_cast<bool>(pipe_); }

  // The next line, of size - 1 characters at most, with its line feed; the rest of a longer one comes next.
  // False at the end, with the line as it was.
  [[nodiscard]] bool read_line(char* line, size_t size);

  // Waits for the program to end. Returns its wait status; -1 if the plug-in ignores SIGCHLD or has waited for the
  // program itself, since nobody knows the status then.
  [[nodiscard]] int finish() {
    const Uncancelled uncancelled;
    return pclose(pipe_.release());
  }

  // Lets it go on by itself, its output unread. The descriptor stays open for good: a program would end at its first
  // output to a pipe that is closed.
  void leave() noexcept { static_cast<void>(pipe_.release()); }

 private:
  [[nodiscard]] bool fill();

  std::unique_ptr<FILE, CallToEnd<pclose>> pipe_;
  size_t next_ = 0;  // buffer_ holds what was read and not yet handed out, from next_ to end_.
  size_t end_ = 0;
  char buffer_[512];
};

}  // namespace zel
