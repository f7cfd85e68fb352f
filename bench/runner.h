// Runs what is registered with the benchmark library and hands back the time of every repetition.
#pragma once

#include <benchmark/benchmark.h>

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace runner {

// A low decile stands for a measurement. Whatever else the machine does adds time, which speaks against the
// median; the very least may come from a moment of higher clock that only one side of a comparison met.
class Times {
 public:
  void add(double ns) { ns_.push_back(ns); }
  double low() const;
  double spread_percent() const;  // how far the median lies above it: tells how quiet the machine was

 private:
  double at(double part) const;

  std::vector<double> ns_;
};

using Results = std::map<std::string, Times>;  // by the benchmarks' names; what was filtered out is missing

// Empty when an option, all of which are the benchmark library's, is not understood, or when a benchmark gave
// up; standard error then says which. The order of all
// repetitions is shuffled, so that a slow phase of the machine meets both sides of a comparison.
std::optional<Results> run(int argc, char** argv);

}  // namespace runner
