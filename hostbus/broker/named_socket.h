#pragma once

#include <sys/types.h>

#include <string>

#include "base/handles.h"

namespace hostbus {

// Makes the last directory of the path if it is missing.
void make_directory_of(const std::string& path);

// A socket and its name in the file system. The name goes with the owner, unless another broker has meanwhile
// put its own socket there.
class NamedSocket {
 public:
  struct Kind {
    int type;  // SOCK_STREAM, which listens then, or SOCK_DGRAM
    mode_t mode;
    const char* option;  // that chooses the path
  };

  // Takes the path over from whoever has it. Throws StartError.
  NamedSocket(const Kind& kind, const std::string& path);
  ~NamedSocket();
  NamedSocket(const NamedSocket&) = delete;
  NamedSocket& operator=(const NamedSocket&) = delete;

  int fd() const { return fd_.get(); }

 private:
  std::string path_;
  zel::Descriptor fd_;  // keeps the inode in use, so that its number cannot come back under our path
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace hostbus
