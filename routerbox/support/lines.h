// lines.h: the output of the box's programs, from pieces to whole lines, and on to where it is read.
#pragma once
#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>

#include "io.h"

namespace routerbox {

// Gets what a program writes, in pieces as they come; an empty one at the end.
using Sink = std::function<void(std::string_view piece)>;

// A sink that hands on whole lines, without their line feeds. What is longer than 64 KiB, or unfinished at the end, is
// handed on as it is.
Sink whole_lines(std::function<void(std::string_view line)> take);

// Writes to the box's standard streams from a thread of its own: a reader that stands still, such as a stopped
// terminal, does not hold up the box.
class Printer {
 public:
  // `log` (may be empty) is a file that gets every line as well; it is kept within bounds, like the standard streams
  // where they are `own` files of the box. Throws Failure when it cannot be opened.
  Printer(const std::string& log, bool own);
  ~Printer();
  Printer(const Printer&) = delete;
  Printer& operator=(const Printer&) = delete;

  void print(int stream, std::string_view line);
  // So much waits that nothing more should be read from the programs for now.
  bool full() const;
  // Returns when all is written, or nothing could be for two seconds.
  void flush();

 private:
  struct Line {
    int stream;
    std::string text;
  };
  void write_lines();
  struct Batch {
    int stream = 0;
    std::string text;
    size_t lines = 0;
  };
  Batch next_batch() const;
  void write(const Batch& batch);

  const bool own_;
  Descriptor log_;
  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<Line> waiting_;  // guarded by mutex_, like the next three
  size_t waiting_bytes_ = 0;
  size_t written_lines_ = 0;
  bool ending_ = false;
  std::thread writer_;
};

}  // namespace routerbox
