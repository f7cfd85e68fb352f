// output.h: our standard output and error, apart from what the library writes to them.
#pragma once
#include <string>

#include <string_view>

#include "failure.h"

namespace zelctl {

// How results are wanted.
struct Manner {
  bool json = false;
  bool verbose = false;
};
const Manner& manner();

// Before the command line is understood, which may fail.
void want_json(bool json);

// Takes standard output and error for ourselves; all that the library writes to either from now on goes nowhere, or,
// if verbose, to standard error.
void take_streams(const Manner& manner);
// Gives standard output and error back, for a program that follows in this process or below it.
void give_streams();
// -1 when the caller has closed it.
int output_fd();
int report_fd();

// Prints a result or a part of one, which has come in time: a limit that is in force is lifted. Ends the process if it
// gets lost: with a failure, or, when whoever read it has gone as `head` does when it has seen enough, with the status
// that the command ends with.
void print(std::string_view text, int status = kDone);

// To standard error, as it is.
void print_report(std::string_view text);

// Something to know beside the result, as printf. Not for scripts.
void note(const char* text, ...) __attribute__((format(printf, 1, 2)));

// How far something is: lines that the next such text takes the place of; an empty one clears them. Only where
// standard error is a terminal.
bool shows_progress();
void progress(const std::string& text);
bool progress_is_drawn();

// Ends the process without waiting for the library's threads.
[[noreturn]] void end_process(int status);

}  // namespace zelctl
