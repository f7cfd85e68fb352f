// relay.h: passes on a program's output with a prefix on every line.
#pragma once
#include <string>

#include "io.h"

namespace routerbox {

class LineRelay {
 public:
  // Lines read from `from` go to the descriptor `to` with `prefix` before each.
  LineRelay(Descriptor from, int to, std::string prefix);
  int descriptor() const { return from_.get(); }
  // Passes on what can be read now; false at the end, when an unfinished line was passed on too.
  bool pump();

 private:
  void pass_lines(bool all);

  Descriptor from_;
  int to_;
  std::string prefix_;
  std::string pending_;
};

}  // namespace routerbox
