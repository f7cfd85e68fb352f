#include "subids.h"

#include <algorithm>
#include <numeric>
#include <sstream>

namespace routerbox {

std::vector<IdRange> ranges_of(const std::string& table, const std::string& name, uid_t uid) {
  std::vector<IdRange> ranges;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::replace(line.begin(), line.end(), ':', ' ');
    std::istringstream columns(line);
    std::string owner;
    IdRange range;
    if (columns >> owner >> range.first >> range.count && range.count > 0 &&
        (owner == name || owner == std::to_string(uid)))
      ranges.push_back(range);
  }
  return ranges;
}

std::vector<std::string> map_arguments(unsigned long own, const std::vector<IdRange>& ranges) {
  std::vector<std::string> words{"0", std::to_string(own), "1"};
  unsigned long inside = 1;
  for (const IdRange& range : ranges) {
    for (const unsigned long number : {inside, range.first, range.count})
      words.push_back(std::to_string(number));
    inside += range.count;
  }
  return words;
}

unsigned long highest_mapped(const std::vector<IdRange>& ranges) {
  return std::accumulate(ranges.begin(), ranges.end(), 0UL,
                         [](unsigned long sum, const IdRange& range) { return sum + range.count; });
}

}  // namespace routerbox
