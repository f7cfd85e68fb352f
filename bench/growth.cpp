#include "growth.h"

#include <cstdio>

#include "record.h"
#include "runner.h"

namespace {

constexpr int kRepetitions = 41;

std::string name_of(const growth::Way& way, int number) {
  return "growth " + way.name + " " + std::to_string(number);
}

void add(const growth::Way& way, int number) {
  const auto measure = [&way, number](benchmark::State& state) {
    for (auto _ : state) {  // one iteration
      const double seconds = way.seconds(number);
      if (seconds < 0) state.SkipWithError("a measurement failed");
      state.SetIterationTime(seconds);
    }
  };
  benchmark::RegisterBenchmark(name_of(way, number).c_str(), measure)
      ->UseManualTime()
      ->Iterations(1)
      ->Repetitions(kRepetitions);
}

void print_cell(const growth::Table& table, const runner::Results& results, const growth::Way& way,
                int number) {
  const auto found = results.find(name_of(way, number));
  const auto one = results.find(name_of(way, table.numbers.front()));
  if (found == results.end()) {
    std::printf(" | %14s | %11s", "-", "-");
    return;
  }
  const double us = found->second.low() / 1000;
  record::add({"growth", table.unit, table.number, way.name, std::to_string(number), std::to_string(us)});
  std::printf(" | %8.1f +%3.0f%% | ", us, found->second.spread_percent());
  if (one != results.end()) {
    std::printf("%11.2f", found->second.low() / one->second.low());
  } else {
    std::printf("%11s", "-");
  }
}

void print_table(const growth::Table& table, const runner::Results& results) {
  std::printf("microseconds for each %s\n%11s", table.unit.c_str(), table.number.c_str());
  const std::string first = "times " + std::to_string(table.numbers.front()) + "'s";
  for (const growth::Way& way : table.ways) std::printf(" | %14s | %11s", way.name.c_str(), first.c_str());
  std::puts("");
  for (const int number : table.numbers) {
    std::printf("%11d", number);
    for (const growth::Way& way : table.ways) print_cell(table, results, way, number);
    std::puts("");
  }
}

}  // namespace

int growth::run(const Table& table, int argc, char** argv) {
  for (const Way& way : table.ways) {
    for (const int number : table.numbers) add(way, number);
  }
  const std::optional<runner::Results> results = runner::run(argc, argv);
  if (!results) return 1;
  if (!results->empty()) print_table(table, *results);
  return 0;
}
