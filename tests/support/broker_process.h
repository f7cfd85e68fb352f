#pragma once

#include <sys/types.h>

#include <chrono>
#include <string>
#include <vector>

#include "../../hostbus/broker/owned_fd.h"

namespace test {

// A directory of the test's own that every user may enter, gone with all its contents at the end.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  std::string operator/(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};

// The broker program, running. On the target's build it runs under the emulator like the test itself.
class BrokerProcess {
 public:
  struct End {
    int status = -1;      // exit status, or 128 and the signal
    std::string printed;  // standard output and standard error
  };

  // `max_files` limits its descriptors, 0 leaves them.
  explicit BrokerProcess(const std::vector<std::string>& arguments, unsigned max_files = 0);
  // On a socket; returns when it is listening.
  static BrokerProcess listening(const std::string& path, unsigned max_files = 0);

  ~BrokerProcess();
  BrokerProcess(BrokerProcess&& other) noexcept;
  BrokerProcess& operator=(BrokerProcess&&) = delete;

  void kill(int signal) const;
  // Processor time it has used so far.
  std::chrono::milliseconds cpu() const;
  // Memory it holds now.
  size_t resident_bytes() const;
  // Waits for its end, which must come within ten seconds.
  End wait();

 private:
  pid_t pid_ = -1;
  hostbus::OwnedFd output_;
};

}  // namespace test
