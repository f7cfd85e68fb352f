// Measures a call of ours beside its peer, in one run, and prints one table row for the pair.
#pragma once

#include <benchmark/benchmark.h>

#include <string>

namespace pairs {

inline constexpr char kOurs[] = "/ours";
inline constexpr char kPeer[] = "/peer";

void add_row(const std::string& what);

template <class Call>
void measure(const std::string& name, Call call) {
  const auto loop = [call](benchmark::State& state) mutable {
    for (auto _ : state) {
      call();
      benchmark::ClobberMemory();  // what the call wrote counts as used
    }
  };
  benchmark::RegisterBenchmark(name.c_str(), loop)->UseRealTime();
}

// Adds a row. Both calls are made without arguments, once per iteration; they should do the same work on
// the same data. `what` is the row's name and must be new.
template <class Ours, class Peer>
void compare(const std::string& what, Ours ours, Peer peer) {
  add_row(what);
  measure(what + kOurs, ours);
  measure(what + kPeer, peer);
}

// Runs all pairs and prints the table; the benchmark library's own options may be given. Returns the
// program's exit status, 1 when a pair could not be measured.
int run(int argc, char** argv);

}  // namespace pairs
