#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <filesystem>
#include <string>
#include <vector>

#include "../../hostbus/broker/owned_fd.h"

namespace test {

// The broker program, running. On the target's build it runs under the emulator like the test itself.
class BrokerProcess {
 public:
  struct End {
    int status = -1;      // exit status, or 128 and the signal
    std::string printed;  // standard output and standard error
  };

  // On a socket; it is listening then.
  explicit BrokerProcess(const std::string& path);
  ~BrokerProcess();
  BrokerProcess(const BrokerProcess&) = delete;
  BrokerProcess& operator=(const BrokerProcess&) = delete;

  pid_t pid() const { return pid_; }
  // A number that the kernel keeps of it, as proc(5) counts the fields of "stat".
  enum Field { kSystemTime = 15, kResidentPages = 24 };
  size_t stat(Field field) const;
  // Sends the signal, if it is not 0, and waits for the end, which must come within ten seconds.
  End end(int signal);
  // Starts one that ends by itself.
  static End run(const std::vector<std::string>& arguments) { return BrokerProcess(arguments).end(0); }

 private:
  explicit BrokerProcess(const std::vector<std::string>& arguments);

  hostbus::OwnedFd output_;
  pid_t pid_ = -1;
};

// A broker of the test's own, in a directory of the test's own that every user may enter.
class BrokerTest : public testing::Test {
 protected:
  ~BrokerTest() override { std::filesystem::remove_all(directory_); }
  static std::string made_directory();

  const std::string directory_ = made_directory();
  const std::string path_ = directory_ + "/bus";
  BrokerProcess broker_{path_};
};

}  // namespace test
