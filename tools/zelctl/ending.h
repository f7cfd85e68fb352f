// ending.h: how a command ends that is interrupted or takes too long. The library's calls cannot be ended from outside,
// so the process is, with a report that was written beforehand: a signal's handler can do no more than put it out.
#pragma once
#include <csignal>

namespace zelctl {

// From here on SIGINT and SIGTERM end the process with a report and the status 5; or, for commands that go on until
// then, without one and with success. A report that nobody would read for now is left out.
void interruption_fails(const char* advice, const char* why, ...) __attribute__((format(printf, 2, 3)));
void interruption_is_the_end();

// The process ends with that report and the status 5 unless the scope does before.
class Limit {
 public:
  Limit(unsigned seconds, const char* advice, const char* why, ...) __attribute__((format(printf, 4, 5)));
  ~Limit();
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
};

// No interruption and no limit within the scope: a line is put out whole.
class Undivided {
 public:
  Undivided();
  ~Undivided();
  Undivided(const Undivided&) = delete;
  Undivided& operator=(const Undivided&) = delete;
  // The signals held back during a wait within the scope: as before.
  const sigset_t& waiting() const { return before_; }

 private:
  sigset_t before_;
};

// For commands whose work is done by the library's thread: holds SIGINT and SIGTERM back from here on, also from the
// threads that come, and waits for either, or for so many seconds (0: without limit), until no callback runs.
class Service {
 public:
  Service();
  void wait(unsigned seconds);
  // Ends that wait, from a callback.
  static void end();

 private:
  sigset_t signals_;
};

}  // namespace zelctl
