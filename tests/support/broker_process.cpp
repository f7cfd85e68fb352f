#include "broker_process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>
#include <utility>

namespace test {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::seconds kLimit{10};

std::vector<std::string> command_line(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  std::istringstream emulator(TEST_EMULATOR);
  for (std::string word; emulator >> word;) words.push_back(word);
  words.push_back(TEST_BIN "/hostbusd");
  words.insert(words.end(), arguments.begin(), arguments.end());
  return words;
}

[[noreturn]] void become_broker(std::vector<std::string> words, int output, unsigned max_files) {
  ::dup2(output, STDOUT_FILENO);
  ::dup2(output, STDERR_FILENO);
  if (max_files != 0) {
    const rlimit limit{max_files, max_files};
    ::setrlimit(RLIMIT_NOFILE, &limit);
  }
  std::vector<char*> pointers;
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  ::execvp(pointers[0], pointers.data());
  ::_exit(127);
}

bool accepts(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const hostbus::OwnedFd fd(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return ::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

ScratchDirectory::ScratchDirectory() : path_("/tmp/bus-XXXXXX") {
  if (::mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make a directory in /tmp");
  ::chmod(path_.c_str(), 0755);
}

ScratchDirectory::~ScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

BrokerProcess::BrokerProcess(const std::vector<std::string>& arguments, unsigned max_files) {
  int ends[2];
  if (::pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe for the broker's output");
  pid_ = ::fork();
  if (pid_ == 0) become_broker(command_line(arguments), ends[1], max_files);
  ::close(ends[1]);
  output_ = hostbus::OwnedFd(ends[0]);
}

// The path may be another broker's: ready is a socket that is not the one of before.
BrokerProcess BrokerProcess::listening(const std::string& path, unsigned max_files) {
  struct stat before {};
  struct stat now {};
  const bool taken = ::stat(path.c_str(), &before) == 0;
  BrokerProcess broker({"-s", path}, max_files);
  const auto changed = [&] {
    if (::stat(path.c_str(), &now) != 0) return false;
    const bool same = taken && now.st_ino == before.st_ino && now.st_ctim.tv_sec == before.st_ctim.tv_sec &&
                      now.st_ctim.tv_nsec == before.st_ctim.tv_nsec;
    return !same && accepts(path);
  };
  for (const auto end = Clock::now() + kLimit; !changed();) {
    if (Clock::now() > end) throw std::runtime_error("the broker does not listen");
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return broker;
}

BrokerProcess::BrokerProcess(BrokerProcess&& other) noexcept
    : pid_(std::exchange(other.pid_, -1)), output_(std::move(other.output_)) {}

BrokerProcess::~BrokerProcess() {
  if (pid_ > 0) {
    ::kill(pid_, SIGKILL);
    ::waitpid(pid_, nullptr, 0);
  }
}

void BrokerProcess::kill(int signal) const {
  ::kill(pid_, signal);
}

std::chrono::milliseconds BrokerProcess::cpu() const {
  clockid_t clock{};
  timespec used{};
  if (::clock_getcpuclockid(pid_, &clock) != 0 || ::clock_gettime(clock, &used) != 0) {
    throw std::runtime_error("cannot read the broker's processor time");
  }
  return std::chrono::milliseconds(used.tv_sec * 1000 + used.tv_nsec / 1000000);
}

size_t BrokerProcess::resident_bytes() const {
  std::ifstream statm("/proc/" + std::to_string(pid_) + "/statm");
  size_t all = 0;
  size_t resident = 0;
  if (!(statm >> all >> resident)) throw std::runtime_error("cannot read the broker's memory");
  return resident * static_cast<size_t>(::sysconf(_SC_PAGESIZE));
}

// The end of its output is the end of the process: nobody else has the pipe.
BrokerProcess::End BrokerProcess::wait() {
  End end;
  char room[4096];
  const auto limit = Clock::now() + kLimit;
  for (ssize_t count = 1; count > 0;) {
    pollfd output{output_.get(), POLLIN, 0};
    if (::poll(&output, 1, 100) == 0) {
      if (Clock::now() > limit) throw std::runtime_error("the broker does not end");
      continue;
    }
    count = ::read(output_.get(), room, sizeof room);
    if (count > 0) end.printed.append(room, static_cast<size_t>(count));
  }
  int status = 0;
  ::waitpid(std::exchange(pid_, -1), &status, 0);
  end.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return end;
}

}  // namespace test
