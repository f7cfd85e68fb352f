#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "raw_client.h"

namespace test {

// The broker program, running. On the target's build it runs under the emulator like the test itself.
class BrokerProcess {
 public:
  struct End {
    int status = -1;      // exit status, or 128 and the signal
    std::string printed;  // standard output and standard error
  };

  // On a socket; it is listening then.
  explicit BrokerProcess(const std::string& path, const std::vector<std::string>& more = {}) {
    std::vector<std::string> arguments = {"-s", path};
    arguments.insert(arguments.end(), more.begin(), more.end());
    start(arguments);
    for (int left = kLimitMs; !serves(path); --left) {
      if (left == 0) throw std::runtime_error("the broker does not listen");
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }
  ~BrokerProcess() {
    if (pid_ > 0) end(SIGKILL);
  }
  BrokerProcess(const BrokerProcess&) = delete;
  BrokerProcess& operator=(const BrokerProcess&) = delete;

  // Starts one that ends by itself.
  static End run(const std::vector<std::string>& arguments) {
    BrokerProcess broker;
    broker.start(arguments);
    return broker.end(0);
  }

  pid_t pid() const { return pid_; }

  // Sends the signal, if it is not 0, and waits for the end, which must come within ten seconds. The end of
  // its output is the end of the process: nobody else has the pipe.
  End end(int signal) {
    kill(pid_, signal);
    End end;
    char room[4096];
    for (ssize_t count = 1; count > 0;) {
      if (!readable(output_.get())) kill(pid_, SIGKILL);
      count = read(output_.get(), room, sizeof room);
      if (count > 0) end.printed.append(room, static_cast<size_t>(count));
    }
    int status = 0;
    waitpid(std::exchange(pid_, -1), &status, 0);
    end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return end;
  }

 private:
  BrokerProcess() = default;

  void start(std::vector<std::string> arguments) {
    std::istringstream emulator(TEST_EMULATOR);
    std::vector<std::string> words(std::istream_iterator<std::string>(emulator), {});
    words.push_back(TEST_BIN "/hostbusd");
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the broker's output");
    output_ = zel::Descriptor(ends[0]);
    const zel::Descriptor input(ends[1]);
    pid_ = fork();
    if (pid_ != 0) return;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    dup2(input.get(), STDOUT_FILENO);
    dup2(input.get(), STDERR_FILENO);
    execvp(pointers[0], pointers.data());
    _exit(127);
  }

  // Another broker may have had the path before.
  bool serves(const std::string& path) const {
    ucred peer{};
    socklen_t size = sizeof peer;
    const zel::Descriptor fd = connected(path);
    return fd && getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == pid_;
  }

  zel::Descriptor output_;
  pid_t pid_ = -1;
};

// A broker of the test's own, in a directory of the test's own that every user may enter.
class BrokerTest : public testing::Test {
 protected:
  ~BrokerTest() override { std::filesystem::remove_all(directory_); }

  static std::string made_directory() {
    std::string path = "/tmp/bus-XXXXXX";
    if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make a directory in /tmp");
    std::filesystem::permissions(path, std::filesystem::perms{0755});
    return path;
  }

  const std::string directory_ = made_directory();
  const std::string path_ = directory_ + "/bus";
  BrokerProcess broker_{path_};
};

}  // namespace test
