// Measures a call of ours beside its peer, in one run, and prints one table row for the pair.
#pragma once

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <string>

namespace pairs {

inline constexpr char kOurs[] = "/ours";
inline constexpr char kPeer[] = "/peer";

void add_row(const std::string& what);

// Seconds that `calls` calls take.
template <class Call>
double time_batch(Call& call, int64_t calls) {
  const auto start = std::chrono::steady_clock::now();
  for (; calls > 0; --calls) {
    call();
    benchmark::ClobberMemory();  // what the call wrote counts as used
  }
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

// Calls per repetition: enough for the clock, and so few that on a busy machine many a repetition runs
// through without interruption. Tried several times each, since a batch that was interrupted only seems long
// enough.
template <class Call>
int64_t batch_of(Call& call) {
  constexpr double kEnoughSeconds = 300e-6;
  constexpr int kTries = 5;
  for (int64_t calls = 1;; calls *= 2) {
    double least = time_batch(call, calls);
    for (int i = 1; i < kTries; ++i) least = std::min(least, time_batch(call, calls));
    if (least >= kEnoughSeconds) return calls;
  }
}

template <class Call, class Before>
void measure(const std::string& name, Call call, Before before, int64_t known_calls) {
  const auto loop = [call, before, calls = known_calls](benchmark::State& state) mutable {
    before();
    if (calls == 0) calls = batch_of(call);
    for (auto _ : state) state.SetIterationTime(time_batch(call, calls) / static_cast<double>(calls));
  };
  // The library would settle the number of calls by a single try, and keep what an interruption made of it.
  benchmark::RegisterBenchmark(name.c_str(), loop)->UseManualTime()->Iterations(1);
}

// Adds a row. Both calls are made without arguments, many times; they should do the same work on
// the same data. `before` is called ahead of every repetition of either and not timed. `what` is the row's
// name and must be new. `calls` per repetition are found out when it is 0.
template <class Ours, class Peer, class Before>
void compare(const std::string& what, Ours ours, Peer peer, Before before, int64_t calls = 0) {
  add_row(what);
  measure(what + kOurs, ours, before, calls);
  measure(what + kPeer, peer, before, calls);
}

template <class Ours, class Peer>
void compare(const std::string& what, Ours ours, Peer peer) {
  compare(what, ours, peer, [] {});
}

// Runs all pairs and prints the table; the benchmark library's own options may be given. Returns the
// program's exit status, 1 when a pair could not be measured.
int run(int argc, char** argv);

}  // namespace pairs
