#include "runner.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

namespace {

constexpr const char* kDefaults[] = {"--benchmark_repetitions=300",
                                     "--benchmark_enable_random_interleaving=true"};

class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type != Run::RT_Iteration) continue;
      if (run.error_occurred) {
        std::fprintf(stderr, "%s: %s\n", run.benchmark_name().c_str(), run.error_message.c_str());
        failed = true;
        continue;
      }
      results[run.run_name.function_name].add(run.GetAdjustedRealTime());
    }
  }

  runner::Results results;
  bool failed = false;
};

// Standard output leads nowhere while calls that print are measured.
class Silence {
 public:
  Silence() {
    std::fflush(stdout);
    kept_ = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    dup2(nowhere, STDOUT_FILENO);
    close(nowhere);
  }
  ~Silence() {
    std::fflush(stdout);
    dup2(kept_, STDOUT_FILENO);
    close(kept_);
  }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

 private:
  int kept_;
};

}  // namespace

double runner::Times::at(double part) const {
  std::vector<double> sorted = ns_;
  std::sort(sorted.begin(), sorted.end());
  return sorted[static_cast<size_t>(part * static_cast<double>(sorted.size() - 1))];
}

double runner::Times::low() const {
  return at(0.1);
}

double runner::Times::spread_percent() const {
  return 100 * (at(0.5) / low() - 1);
}

std::optional<runner::Results> runner::run(int argc, char** argv) {
  // The caller's options come last and win.
  std::vector<std::string> options = {argv[0]};
  options.insert(options.end(), std::begin(kDefaults), std::end(kDefaults));
  options.insert(options.end(), argv + 1, argv + argc);
  std::vector<char*> pointers;
  pointers.reserve(options.size() + 1);
  for (std::string& option : options) pointers.push_back(option.data());
  int count = static_cast<int>(pointers.size());
  pointers.push_back(nullptr);

  benchmark::Initialize(&count, pointers.data());
  if (benchmark::ReportUnrecognizedArguments(count, pointers.data())) return {};
  Collector collector;
  {
    const Silence silence;
    benchmark::RunSpecifiedBenchmarks(&collector);
  }
  if (collector.failed) return {};
  return collector.results;
}
