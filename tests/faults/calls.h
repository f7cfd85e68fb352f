// calls.h: the library's calls as rows, for tests that run each of them in every kind of trouble.
#pragma once

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "support/cases.h"
#include "support/process.h"

struct Call {
  const char* name;
  int (*call)();
  int good;                   // its result when all is well
  std::vector<int> failures;  // what else its header names
  void (*prepare)() = [] {};  // before each time

  bool may_give(int result) const {
    return result == good || std::count(failures.begin(), failures.end(), result) == 1;
  }
};

// The calls of a header, or those that one answer suits.
struct Calls {
  const char* of;
  const char* answer;  // of the server on the download daemon's port, null for none
  std::vector<Call> rows;
};
extern const std::vector<Calls> kCalls;

// What gtest calls a group.
inline void PrintTo(const Calls& calls, std::ostream* out) {
  *out << calls.of;
}

// What a call may leave behind: descriptors, attachments, the semaphore's value, files of two folders, memory.
using LeftBehind = std::array<long, 6>;
LeftBehind left_behind();

// In a box with a router, as root. Every call was made once.
class EveryCall : public testing::TestWithParam<Calls> {
 protected:
  EveryCall();
  std::unique_ptr<Process> server_;
};
