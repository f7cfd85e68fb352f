#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

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
  std::string path_ = "/tmp/bus-XXXXXX";
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

  // A number that the kernel keeps of it, as proc(5) counts the fields of "stat".
  enum Field { kUserTime = 14, kSystemTime = 15, kResidentPages = 24 };
  size_t stat(Field field) const;
  void kill(int signal) const;
  // Waits for its end, which must come within ten seconds.
  End wait();

 private:
  pid_t pid_ = -1;
  hostbus::OwnedFd output_;
};

// A broker of the test's own.
class BrokerTest : public testing::Test {
 protected:
  ScratchDirectory directory_;
  std::string path_ = directory_ / "bus";
  BrokerProcess broker_ = BrokerProcess::listening(path_);
};

}  // namespace test
