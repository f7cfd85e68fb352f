#include "subids.h"

#include <algorithm>
#include <numeric>
#include <sstream>

namespace routerbox {

namespace {

struct Grant {
  std::string owner;
  IdRange range;
};

std::vector<Grant> grants_of(const std::string& table) {
  std::vector<Grant> grants;
  std::istringstream lines(table);
  for (std::string line; std::getline(lines, line);) {
    std::replace(line.begin(), line.end(), ':', ' ');
    std::istringstream columns(line);
    Grant grant;
    if (columns >> grant.owner >> grant.range.first >> grant.range.count && grant.range.count > 0)
      grants.push_back(grant);
  }
  return grants;
}

}  // namespace

std::vector<IdRange> ranges_of(const std::string& table, const std::string& name, uid_t uid) {
  std::vector<IdRange> ranges;
  for (const Grant& grant : grants_of(table)) {
    if (grant.owner == name || grant.owner == std::to_string(uid)) ranges.push_back(grant.range);
  }
  return ranges;
}

unsigned long first_free_id(const std::string& table) {
  unsigned long free = 100000;
  for (const Grant& grant : grants_of(table)) free = std::max(free, grant.range.first + grant.range.count);
  return free;
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
