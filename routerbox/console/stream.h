// stream.h: a box's trace as server-sent events.
#pragma once
#include <chrono>
#include <optional>
#include <string>

#include "../trace/line_reader.h"

namespace routerbox {

// Each line of the trace is a message, as it is. An event "box" stands before the first line, and wherever a box of the
// name has come or gone: {"box", "running"}. What follows a box that came is its trace.
class TraceStream {
 public:
  explicit TraceStream(std::string box);

  // What comes next; waits for a moment when there is nothing. At least a comment comes every second, so that who
  // listens can tell silence from a broken connection.
  std::string next();

 private:
  using Clock = std::chrono::steady_clock;
  std::string look_for_box();
  std::string read_lines();
  std::string announce(bool running);
  bool box_lives();

  const std::string box_, socket_, file_;
  std::optional<LineReader> trace_;  // while the box runs
  std::optional<bool> announced_;
  Clock::time_point last_piece_, last_look_;
};

}  // namespace routerbox
