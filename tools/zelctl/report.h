// report.h: what a command tells its user: a result for people or for scripts, or why there is none.
#pragma once
#include <stdexcept>
#include <string>
#include <vector>

#include "json_result.h"

namespace zelctl {

enum Exit : int {
  kDone = 0,
  kNo = 1,            // asked and answered: not granted, not there, there already, no room
  kUsage = 2,         // the command line
  kFailed = 3,        // shared memory, files
  kNotPermitted = 4,  // needs root
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

// How results are wanted.
struct Session {
  bool json = false;
};

// Prints a result in the form that is wanted.
void tell(const Session& session, const std::string& text, const JsonTree& json);
// Prints a failure, people's form to standard error; for scripts the one JSON document of standard output.
void tell(const Session& session, const Failure& failure);
// Something to know beside the result. Not for scripts.
void note(const Session& session, const std::string& text);

// Rows of equally many cells, as aligned columns. Only the last column may hold other letters than ASCII.
std::string columns(const std::vector<std::vector<std::string>>& rows);

// A text from outside as a terminal and JSON can take it: control characters, and bytes that are no UTF-8, become
// question marks.
std::string readable(const std::string& text);

}  // namespace zelctl
