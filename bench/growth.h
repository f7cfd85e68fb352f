// How a time grows with a number, for us and for a peer: one table.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace growth {

struct Way {
  std::string name;
  // One measurement for a number: seconds for each unit of work. Negative if it failed.
  std::function<double(int number)> seconds;
};

struct Table {
  std::string number;  // what is counted
  std::string unit;    // what takes the time
  std::vector<int> numbers;
  std::vector<Way> ways;
};

// Measures all many times, in shuffled order, and prints the table: microseconds, and how many times that of the
// first number. The benchmark library's own options may be given. Returns the program's exit status.
int run(const Table& table, int argc, char** argv);

}  // namespace growth
