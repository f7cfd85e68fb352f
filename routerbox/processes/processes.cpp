#include "processes.h"

#include <poll.h>
#include <stdlib.h>
#include <sys/eventfd.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>

#include <algorithm>
#include <thread>

namespace routerbox {
namespace {

constexpr int kReadsInTurn = 16;  // of one program's output, so that none keeps the others waiting
constexpr int kReadsAtEnd = 256;  // what a pipe or terminal can hold fits many times
constexpr int kFullPauseMs = 10;  // until the printer is asked again

Descriptor open_null(int flags) {
  Descriptor null(open("/dev/null", flags | O_CLOEXEC));
  if (!null) fail_errno("cannot open /dev/null");
  return null;
}

// Both ends of a terminal that changes nothing in what is written to it.
Pipe make_terminal() {
  Pipe ends;
  char name[64];
  ends.read = Descriptor(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!ends.read || unlockpt(ends.read.get()) != 0 || ptsname_r(ends.read.get(), name, sizeof name) != 0)
    fail_errno("cannot make a terminal");
  ends.write = Descriptor(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
  termios settings{};
  if (!ends.write || tcgetattr(ends.write.get(), &settings) != 0) fail_errno("cannot open a terminal");
  cfmakeraw(&settings);
  if (tcsetattr(ends.write.get(), TCSANOW, &settings) != 0) fail_errno("cannot set up a terminal");
  // A plug-in that becomes another user opens it anew by its name, as /dev/stdout.
  if (fchmod(ends.write.get(), 0622) != 0) fail_errno("cannot open a terminal to all");
  return ends;
}

int shell_status(int status) {
  return WIFSIGNALED(status) ? kKilledBase + WTERMSIG(status) : WEXITSTATUS(status);
}

// False at the end of what is written.
bool pump(int from, const Sink& sink, int reads) {
  char block[8192];
  while (reads-- > 0) {
    const ssize_t count = retry([&] { return read(from, block, sizeof block); });
    if (count < 0 && errno == EAGAIN) return true;
    sink({block, static_cast<size_t>(std::max<ssize_t>(count, 0))});
    if (count <= 0) return false;  // a terminal's end is an error
  }
  return true;
}

}  // namespace

Interrupted::Interrupted(int number)
    : Failure(std::string("stopped by ") + strsignal(number), kKilledBase + number) {}

Processes::Processes(Descriptor outside, const sigset_t& mask, Printer& printer)
    : outside_(std::move(outside)),
      wake_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)),
      mask_(mask),
      printer_(printer) {
  sigset_t children;
  sigemptyset(&children);
  sigaddset(&children, SIGCHLD);
  signals_ = Descriptor(signalfd(-1, &children, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!signals_ || !wake_) fail_errno("cannot watch for ended processes");
}

template <class Body>
auto Processes::ask(Body body) {
  std::packaged_task<decltype(body())()> task(std::move(body));
  auto answer = task.get_future();
  {
    const std::lock_guard lock(mutex_);
    asked_.emplace_back([&task] { task(); });
  }
  eventfd_write(wake_.get(), 1);
  return answer.get();
}

void Processes::run_asked() {
  eventfd_t ignored = 0;
  eventfd_read(wake_.get(), &ignored);
  std::vector<std::function<void()>> asked;
  {
    const std::lock_guard lock(mutex_);
    asked.swap(asked_);
  }
  for (const auto& task : asked) task();
}

int Processes::run(std::function<int()> director, std::function<void(pid_t, int)> on_end) {
  on_end_ = std::move(on_end);
  std::packaged_task<int()> task(std::move(director));
  std::future<int> result = task.get_future();
  std::thread thread([this, &task] {
    task();
    eventfd_write(wake_.get(), 1);  // to look at the result; nobody waits for that, it may be seen already
  });
  while (result.wait_for(Limit(0)) != std::future_status::ready) serve_once();
  run_asked();
  thread.join();
  pump_relays();
  return result.get();
}

void Processes::serve_once() {
  std::vector<pollfd> watched{
      {outside_.get(), POLLIN, 0}, {signals_.get(), POLLIN, 0}, {wake_.get(), POLLIN, 0}};
  const bool full = printer_.full();
  if (!full)
    for (const Relay& relay : relays_) watched.push_back({relay.from.get(), POLLIN, 0});
  if (poll(watched.data(), watched.size(), full ? kFullPauseMs : -1) < 0 && errno != EINTR)
    fail_errno("cannot wait for the box's processes");
  if (watched[0].revents != 0) take_signals();
  if (!full) pump_relays();
  collect();
  run_asked();
}

pid_t Processes::fork_child() {
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process in the box");
  if (child == 0) sigprocmask(SIG_SETMASK, &mask_, nullptr);
  return child;
}

pid_t Processes::start(const Launch& launch) {
  return ask([&] {
    std::optional<Streams> streams;
    Pipe output;
    if (launch.output) {
      output = launch.terminal ? make_terminal() : make_pipe();
      streams = Streams{open_null(O_RDONLY), std::move(output.write)};
      if (fcntl(output.read.get(), F_SETFL, O_NONBLOCK) != 0) fail_errno("cannot read a program's output");
    }
    Pipe report = make_pipe();
    Start program(launch);
    const pid_t child = fork_child();
    if (child == 0) program.become_program(streams ? &*streams : nullptr, report.write.get());
    ended_.erase(child);

    report.write = Descriptor();
    std::string trouble;  // stays empty when the program was executed, which closes the pipe
    if (!read_all(report.read.get(), &trouble)) fail_errno("cannot hear from a new process");
    if (!trouble.empty()) throw Failure(trouble.substr(1), trouble.front());
    if (streams) relays_.push_back({child, std::move(output.read), launch.output});
    return child;
  });
}

std::optional<int> Processes::end_of(pid_t process) {
  return ask([&]() -> std::optional<int> {
    const auto found = ended_.find(process);
    return found == ended_.end() ? std::nullopt : std::optional<int>(found->second);
  });
}

std::optional<int> Processes::wait(pid_t process, Limit limit) {
  const auto end = std::make_shared<std::promise<int>>();
  std::future<int> result = end->get_future();
  ask([&] {
    waits_.push_back({process, end});
    if (interrupt_ != 0) interrupt_waits();
    const auto found = ended_.find(process);
    if (found != ended_.end()) note_end(process, found->second);
  });
  if (limit == Limit::max() || result.wait_for(limit) == std::future_status::ready) return result.get();
  ask([&] { waits_.remove_if([&](const Wait& wait) { return wait.end == end; }); });
  return std::nullopt;
}

int Processes::wait(pid_t process) {
  return *wait(process, Limit::max());
}

void Processes::signal(pid_t process, int number) {
  ask([&] {
    // The box's command leads no group, so that it stays in its terminal's.
    if (ended_.count(process) == 0 && kill(-process, number) != 0) kill(process, number);
  });
}

void Processes::stop(const std::vector<pid_t>& processes, Limit limit) {
  for (const int number : {SIGTERM, SIGKILL}) {
    for (const pid_t process : processes) {
      signal(process, number);
      // One that debuggers or faults have stopped could not hear of it.
      signal(process, SIGCONT);
    }
    const auto end = std::chrono::steady_clock::now() + limit;
    bool all = true;
    for (const pid_t process : processes) {
      const auto left = std::chrono::ceil<Limit>(end - std::chrono::steady_clock::now());
      all = wait(process, std::max(left, Limit(0))) && all;
    }
    if (all) return;
  }
}

void Processes::set_target(pid_t target) {
  ask([&] { target_ = target; });
}

void Processes::interrupt(int number) {
  ask([&] {
    interrupt_ = number;
    interrupt_waits();
  });
}

void Processes::clear_interrupt() {
  ask([&] { interrupt_ = 0; });
}

void Processes::interrupt_waits() {
  for (const Wait& wait : waits_) wait.end->set_exception(std::make_exception_ptr(Interrupted(interrupt_)));
  waits_.clear();
}

void Processes::take_signals() {
  unsigned char number = 0;
  const ssize_t count = retry([&] { return read(outside_.get(), &number, 1); });
  if (count == 0) _exit(kKilledBase + SIGKILL);
  if (count == 1) take_signal(number);
}

// The terminal's signals go to the command as well, it is in the same process group.
void Processes::take_signal(unsigned char number) {
  const bool running = target_ != 0 && ended_.count(target_) == 0;
  if (running && (number & kFromTerminal) != 0) return;
  number &= static_cast<unsigned char>(~kFromTerminal);
  if (running) {
    kill(target_, number);
    return;
  }
  interrupt_ = number;
  interrupt_waits();
}

void Processes::collect() {
  signalfd_siginfo ignored{};
  while (read(signals_.get(), &ignored, sizeof ignored) > 0) continue;
  int status = 0;
  for (pid_t child; (child = waitpid(-1, &status, WNOHANG)) > 0;) note_end(child, shell_status(status));
}

// All it has written is passed on before anybody hears of its end, and its sink, which may be gone then, is not called
// again.
void Processes::note_end(pid_t process, int status) {
  relays_.remove_if([&](const Relay& relay) {
    return relay.process == process && !pump(relay.from.get(), relay.sink, kReadsAtEnd);
  });
  if (ended_.emplace(process, status).second) on_end_(process, status);
  for (auto wait = waits_.begin(); wait != waits_.end();) {
    if (wait->process == process) wait->end->set_value(status);
    wait = wait->process == process ? waits_.erase(wait) : std::next(wait);
  }
}

void Processes::pump_relays() {
  relays_.remove_if([](const Relay& relay) { return !pump(relay.from.get(), relay.sink, kReadsInTurn); });
}

}  // namespace routerbox
