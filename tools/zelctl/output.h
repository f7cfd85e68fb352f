// output.h: what a command tells its user: a result for people or for scripts, or why there is none.
#pragma once
#include <string>

#include "failure.h"
#include "json.h"

namespace zelctl {

// How results are wanted.
struct Manner {
  bool json = false;
  bool verbose = false;
};
const Manner& manner();

// Takes standard output and error for ourselves; later all that the library writes to either goes nowhere, or, if
// verbose, to standard error. Call take_streams first of all, silence_library before the first call of the library.
void take_streams();
void silence_library(const Manner& manner);
// Gives standard output and error back, for a program that follows in this process.
void give_streams();
int output_fd();

// Print a result in the form that is wanted. Throw OutputClosed, or Failure when it got lost.
void print(const std::string& text);
void tell(const std::string& text, const cJSON* json);
inline void tell(const std::string& text, const JsonTree& json) {
  tell(text, json.get());
}

// Prints a failure: people's form to standard error; for scripts the one JSON document of standard output.
void tell(const Failure& failure);

// Something to know beside the result. Not for scripts.
void note(const std::string& text);

// How far something is, on the line that the next such text takes the place of; an empty one clears it. Only where
// standard error is a terminal.
bool shows_progress();
void progress(const std::string& text);

}  // namespace zelctl
