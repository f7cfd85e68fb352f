// process.h: code that runs in a process of its own, as a plug-in does.
#pragma once

#include <sys/types.h>

#include <functional>

// A child process. Its body says when it is ready and may wait to be told to end; the test waits for the
// former, and ends it with the object.
class Process {
 public:
  class Self {
   public:
    explicit Self(int ready, int end) : ready_(ready), end_(end) {}
    void ready() const;         // Lets the constructor return.
    void wait_for_end() const;  // Until the test is done with the process.

   private:
    int ready_;
    int end_;
  };

  // Runs `body` under a user id; its result is the exit status. Returns when it is ready or has ended.
  Process(uid_t uid, const std::function<int(const Self&)>& body);
  ~Process();
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  // Tells the process to end. Returns its exit status, or 128 + the signal that ended it.
  int finish();

 private:
  pid_t pid_ = -1;
  int end_ = -1;
  int status_ = -1;
};

// Runs `body` to its end under a user id and returns its exit status.
int run_as(uid_t uid, const std::function<int()>& body);
