#include "processes.h"

#include <grp.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>

#include "programs.h"

namespace routerbox {
namespace {

using Clock = std::chrono::steady_clock;

struct Streams {
  Descriptor input;
  Pipe output, errors;
};

Streams background_streams(Output output) {
  Streams streams{Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)), make_pipe(), make_pipe()};
  if (output == Output::kErrors) streams.output.write = Descriptor(open("/dev/null", O_WRONLY | O_CLOEXEC));
  if (!streams.input) fail_errno("cannot open /dev/null");
  return streams;
}

bool take_streams(const Streams& streams) {
  return dup2(streams.input.get(), STDIN_FILENO) >= 0 &&
         dup2(streams.output.write.get(), STDOUT_FILENO) >= 0 &&
         dup2(streams.errors.write.get(), STDERR_FILENO) >= 0 && setsid() >= 0;
}

bool become(uid_t uid) {
  return setgroups(0, nullptr) == 0 && setresgid(uid, uid, uid) == 0 && setresuid(uid, uid, uid) == 0;
}

// In the new child: becomes the program, or tells why not on `report`: the exit status, then the text.
[[noreturn]] void become_program(const Launch& launch, const Streams* streams, int report) {
  std::vector<std::string> words = launch.words;
  const std::vector<char*> arguments = exec_arguments(words);
  std::string text;
  char status = kBoxFailed;
  if (streams != nullptr && !take_streams(*streams)) {
    text = std::string("cannot set up the streams of ") + launch.program + ": " + std::strerror(errno);
  } else if (launch.uid && !become(*launch.uid)) {
    text = "cannot become uid " + std::to_string(*launch.uid) + ": " + std::strerror(errno);
  } else {
    execv(launch.program.c_str(), arguments.data());
    status = errno == ENOENT ? kNotFound : kNotExecutable;
    text = explain_exec(launch.program, errno);
  }
  write_all(report, status + text);
  _exit(status);
}

int shell_status(int status) {
  return WIFSIGNALED(status) ? kKilledBase + WTERMSIG(status) : WEXITSTATUS(status);
}

}  // namespace

Processes::Processes(Descriptor control, const sigset_t& mask) : control_(std::move(control)), mask_(mask) {
  sigset_t all, children;
  sigfillset(&all);
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  sigprocmask(SIG_BLOCK, &all, nullptr);
  signals_ = Descriptor(signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!signals_) fail_errno("cannot watch for ended processes");
}

pid_t Processes::fork_child() {
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process in the box");
  if (child == 0) sigprocmask(SIG_SETMASK, &mask_, nullptr);
  return child;
}

pid_t Processes::start(const Launch& launch) {
  std::optional<Streams> streams;
  if (launch.prefix) streams = background_streams(launch.output);
  Pipe report = make_pipe();
  const pid_t child = fork_child();
  if (child == 0) become_program(launch, streams ? &*streams : nullptr, report.write.get());

  report.write = Descriptor();
  std::string trouble;  // stays empty when the program was executed, which closes the pipe
  if (!read_all(report.read.get(), &trouble)) fail_errno("cannot hear from a new process");
  if (!trouble.empty()) throw Failure(trouble.substr(1), trouble.front());
  if (streams) {
    if (launch.output == Output::kAll)
      relays_.emplace_back(std::move(streams->output.read), STDOUT_FILENO, *launch.prefix);
    relays_.emplace_back(std::move(streams->errors.read), STDERR_FILENO, *launch.prefix);
  }
  return child;
}

pid_t Processes::start_task(const std::function<int()>& body) {
  const pid_t child = fork_child();
  if (child == 0) _exit(body());
  return child;
}

bool Processes::serve(const std::function<bool()>& done, std::optional<Limit> limit) {
  const Clock::time_point end = Clock::now() + limit.value_or(Limit(0));
  collect();
  pump_relays();
  while (!done()) {
    std::vector<pollfd> watched{{control_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}};
    for (const LineRelay& relay : relays_) watched.push_back({relay.descriptor(), POLLIN, 0});
    const auto left = std::chrono::ceil<Limit>(end - Clock::now());
    if (limit && left.count() <= 0) return false;
    const int ready = poll(watched.data(), watched.size(), limit ? static_cast<int>(left.count()) : -1);
    if (ready < 0 && errno != EINTR) fail_errno("cannot wait for the box's processes");
    if (watched[0].revents != 0) take_signals();
    collect();
    pump_relays();  // Last, so that all an ended process has written is passed on.
  }
  return true;
}

void Processes::take_signals() {
  unsigned char number = 0;
  // Nobody is left outside. Process 1 ends, and the kernel ends the rest.
  if (retry([&] { return read(control_.get(), &number, 1); }) != 1) _exit(kBoxFailed);
  if (target_ == 0) throw Failure("stopped by a signal before the command ran", kKilledBase + number);
  if (!ended(target_)) kill(target_, number);
}

void Processes::collect() {
  signalfd_siginfo news;
  while (read(signals_.get(), &news, sizeof news) > 0) {
  }
  int status = 0;
  for (pid_t process; (process = waitpid(-1, &status, WNOHANG)) > 0;) ended_[process] = shell_status(status);
}

void Processes::pump_relays() {
  relays_.remove_if([](LineRelay& relay) { return !relay.pump(); });
}

std::optional<int> Processes::ended(pid_t process) const {
  const auto found = ended_.find(process);
  return found == ended_.end() ? std::nullopt : std::optional<int>(found->second);
}

void Processes::stop(const std::vector<pid_t>& processes, Limit limit) {
  const auto all_ended = [&] {
    return std::all_of(processes.begin(), processes.end(), [&](pid_t process) { return ended(process); });
  };
  const auto signal_all = [&](int number) {
    for (const pid_t process : processes)
      if (!ended(process)) kill(-process, number);
  };
  signal_all(SIGTERM);
  if (!serve(all_ended, limit)) {
    signal_all(SIGKILL);
    serve(all_ended, limit);
  }
  pump_relays();
}

}  // namespace routerbox
