// failure.h: how a command ends.
#pragma once
#include <stdexcept>
#include <string>

namespace zelctl {

// Exit statuses, the same for every command; --help lists them.
enum Exit : int {
  kDone = 0,          // or: yes
  kNo = 1,            // asked and answered: not granted, not there, there already, no room, faults found
  kUsage = 2,         // the command line
  kFailed = 3,        // memory, files, the bus, the router, the download daemon
  kNotPermitted = 4,  // needs root, or an ability
  kTimedOut = 5,      // a limit passed, or it was interrupted, before the work was done
};

// A command that came to nothing: what() says why, the advice what to do next.
class Failure : public std::runtime_error {
 public:
  Failure(Exit exit, const std::string& why, std::string advice, int code = 0)
      : std::runtime_error(why), exit_(exit), advice_(std::move(advice)), code_(code) {}
  Exit exit() const { return exit_; }
  const std::string& advice() const { return advice_; }
  int code() const { return code_; }  // the library's, or 0

 private:
  Exit exit_;
  std::string advice_;
  int code_;
};

// Whoever read our output has gone, as `head` does when it has seen enough: no failure, there is just nothing left
// to do.
struct OutputClosed {};

}  // namespace zelctl
