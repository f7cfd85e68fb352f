#include "broker_process.h"

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include "raw_client.h"

namespace test {
namespace {

[[noreturn]] void become_broker(const std::vector<std::string>& arguments, int output) {
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  std::istringstream emulator(TEST_EMULATOR);
  std::vector<std::string> words(std::istream_iterator<std::string>(emulator), {});
  words.push_back(TEST_BIN "/hostbusd");
  words.insert(words.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

// Another broker may have had the path before.
bool is_served_by(pid_t pid, const std::string& path) {
  ucred peer{};
  socklen_t size = sizeof peer;
  const hostbus::OwnedFd fd = connected(path);
  return fd && ::getsockopt(fd.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 && peer.pid == pid;
}

}  // namespace

BrokerProcess::BrokerProcess(const std::vector<std::string>& arguments) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the broker's output");
  output_ = hostbus::OwnedFd(ends[0]);
  const hostbus::OwnedFd input(ends[1]);
  pid_ = ::fork();
  if (pid_ == 0) become_broker(arguments, input.get());
}

BrokerProcess::BrokerProcess(const std::string& path) : BrokerProcess(std::vector<std::string>{"-s", path}) {
  for (int left = kLimitMs; !is_served_by(pid_, path); --left) {
    if (left == 0) throw std::runtime_error("the broker does not listen");
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
}

BrokerProcess::~BrokerProcess() {
  if (pid_ > 0) ::kill(pid_, SIGKILL);
  if (pid_ > 0) ::waitpid(pid_, nullptr, 0);
}

size_t BrokerProcess::stat(Field field) const {
  std::ifstream fields("/proc/" + std::to_string(pid_) + "/stat");
  std::string found;
  for (int i = 0; i < field; ++i) fields >> found;
  return std::stoul(found);
}

// The end of its output is the end of the process: nobody else has the pipe.
BrokerProcess::End BrokerProcess::end(int signal) {
  ::kill(pid_, signal);
  End end;
  char room[4096];
  for (ssize_t count = 1; count > 0;) {
    if (!readable(output_.get())) throw std::runtime_error("the broker does not end");
    count = ::read(output_.get(), room, sizeof room);
    if (count > 0) end.printed.append(room, static_cast<size_t>(count));
  }
  int status = 0;
  ::waitpid(std::exchange(pid_, -1), &status, 0);
  end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return end;
}

std::string BrokerTest::made_directory() {
  std::string path = "/tmp/bus-XXXXXX";
  if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("cannot make a directory in /tmp");
  ::chmod(path.c_str(), 0755);
  return path;
}

}  // namespace test
