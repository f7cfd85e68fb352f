#pragma once

#include <sys/types.h>

#include <string>

#include "base/handles.h"

namespace hostbus {

// The listening socket and its name in the file system. The name goes with the owner, unless another
// broker has meanwhile put its own socket there.
class ListenSocket {
 public:
  // Takes the path over from whoever has it. Throws StartError.
  // `make_directory` makes the last directory of the path if it is missing.
  ListenSocket(const std::string& path, bool make_directory);
  ~ListenSocket();
  ListenSocket(const ListenSocket&) = delete;
  ListenSocket& operator=(const ListenSocket&) = delete;

  int fd() const { return fd_.get(); }

  // The next waiting connection, non-blocking; empty with errno set when there is none.
  zel::Descriptor accept() const;

 private:
  std::string path_;
  zel::Descriptor fd_;  // keeps the inode in use, so that its number cannot come back under our path
  dev_t device_ = 0;
  ino_t inode_ = 0;
};

}  // namespace hostbus
