#include "pairs.h"

#include <cstdio>
#include <vector>

#include "record.h"
#include "runner.h"

namespace {

std::vector<std::string> rows;  // in the order in which the pairs were added

const runner::Times* find(const runner::Results& results, const std::string& name) {
  const auto found = results.find(name);
  return found != results.end() ? &found->second : nullptr;
}

// Prints the row if it was run (a filter may leave some out). Returns whether it has both sides or none.
bool print_row(const runner::Results& results, const std::string& what) {
  const runner::Times* const ours = find(results, what + pairs::kOurs);
  const runner::Times* const peer = find(results, what + pairs::kPeer);
  if (ours != nullptr && peer != nullptr) {
    std::printf("%-44s | %10.1f +%3.0f%% | %10.1f +%3.0f%% | %5.2f\n", what.c_str(), ours->low(),
                ours->spread_percent(), peer->low(), peer->spread_percent(), ours->low() / peer->low());
    record::add({"pair", what, std::to_string(ours->low()), std::to_string(peer->low())});
    return true;
  }
  if (ours == nullptr && peer == nullptr) return true;
  std::printf("%-44s | %s was not measured\n", what.c_str(), ours == nullptr ? "ours" : "peer");
  return false;
}

}  // namespace

void pairs::add_row(const std::string& what) {
  rows.push_back(what);
}

int pairs::run(int argc, char** argv) {
  const std::optional<runner::Results> results = runner::run(argc, argv);
  if (!results) return 1;
  if (results->empty()) return 0;
  bool whole = true;
  std::printf("%-44s | %16s | %16s | ratio\n", "what", "ours ns   median", "peer ns   median");
  for (const std::string& what : rows) whole = print_row(*results, what) && whole;
  return whole ? 0 : 1;
}
