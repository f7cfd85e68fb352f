// failure.h: how a command ends before its end.
//
// A failure is reported and ends the process there and then: what a command holds meanwhile (the table's lock, that of
// changes, connections, memory) the kernel gives back. So no exceptions are needed, whose tables and clean-up code
// would be a fifth of this program on the router.
#pragma once
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

// Report that the command came to nothing, why, and what to do next. `why` as printf; what comes from outside may be
// in it as it is. For scripts the report is the one JSON document of standard output.
[[noreturn]] void fail(Exit exit, const char* advice, const char* why, ...)
    __attribute__((format(printf, 3, 4)));
// The same with a code of the library's.
[[noreturn]] void fail_with(int code, Exit exit, const char* advice, const char* why, ...)
    __attribute__((format(printf, 4, 5)));

// For a file that could not be used, from errno.
Exit exit_for(int error);

// What these put out.
std::string failure_report(int code, const std::string& why, const char* advice);

// A command line that is none; the advice is the help of `words`.
[[noreturn]] void fail_usage(const char* words, const char* why, ...) __attribute__((format(printf, 2, 3)));

}  // namespace zelctl
