// io.h: the system calls on descriptors and files that every part of the box needs.
#pragma once
#include <fcntl.h>
#include <sys/types.h>

#include <string>
#include <string_view>

#include "base/handles.h"
#include "failure.h"

namespace routerbox {

using zel::Descriptor;
using zel::retry;

struct Pipe {
  Descriptor read, write;
};

inline Pipe make_pipe() {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) fail_errno("cannot make a pipe");
  return {Descriptor(ends[0]), Descriptor(ends[1])};
}

// Whether everything was written. Waits when the descriptor is non-blocking and full.
bool write_all(int fd, std::string_view text);
// Reads to the end; false and errno when reading fails.
bool read_all(int fd, std::string* text);

// These throw Failure. The mode is set whatever the umask is: other users must read what the box writes.
std::string read_file(const std::string& path, const std::string& advice = {});
void write_file(const std::string& path, const std::string& text, mode_t mode);
void make_folder(const std::string& path, mode_t mode = 0755);

}  // namespace routerbox
