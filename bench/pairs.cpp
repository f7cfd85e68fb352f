#include "pairs.h"

#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

// The least of many short repetitions: whatever else the machine does can only add time. Their order is
// shuffled over all pairs, so that a slow phase of the machine meets both sides of a pair.
constexpr const char* kDefaults[] = {"--benchmark_repetitions=25", "--benchmark_min_time=0.01",
                                     "--benchmark_enable_random_interleaving=true"};

struct Row {
  std::string what;
  double ours_ns = 0;
  double peer_ns = 0;
};

std::vector<Row> rows;  // in the order in which the pairs were added

class Table : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration || run.error_occurred) continue;
      note(run.run_name.function_name, run.GetAdjustedRealTime());
    }
  }

 private:
  static void note(const std::string& name, double ns) {
    for (Row& row : rows) {
      if (name != row.what + pairs::kOurs && name != row.what + pairs::kPeer) continue;
      double& least = name == row.what + pairs::kOurs ? row.ours_ns : row.peer_ns;
      least = least == 0 ? ns : std::min(least, ns);
    }
  }
};

// Prints the rows that were run (a filter may leave some out). Returns whether each has both sides.
bool print_rows() {
  bool whole = true;
  std::printf("%-44s | %10s | %10s | ratio\n", "what", "ours ns", "peer ns");
  for (const Row& row : rows) {
    if (row.ours_ns == 0 && row.peer_ns == 0) continue;
    const bool both = row.ours_ns > 0 && row.peer_ns > 0;
    whole = whole && both;
    std::printf("%-44s | %10.1f | %10.1f | ", row.what.c_str(), row.ours_ns, row.peer_ns);
    std::printf(both ? "%5.2f\n" : "    -\n", row.ours_ns / row.peer_ns);
  }
  return whole;
}

}  // namespace

void pairs::add_row(const std::string& what) {
  rows.push_back({what});
}

int pairs::run(int argc, char** argv) {
  // The caller's options come last and win.
  std::vector<std::string> options = {argv[0]};
  options.insert(options.end(), std::begin(kDefaults), std::end(kDefaults));
  options.insert(options.end(), argv + 1, argv + argc);
  std::vector<char*> pointers;
  for (std::string& option : options) pointers.push_back(option.data());
  int count = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);

  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return 2;
  Table table;
  benchmark::RunSpecifiedBenchmarks(&table);
  return print_rows() ? 0 : 1;
}
