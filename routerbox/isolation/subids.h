// subids.h: the subordinate ids an ordinary user may hand to a user namespace.
#pragma once
#include <sys/types.h>

#include <string>
#include <vector>

namespace routerbox {

struct IdRange {
  unsigned long first = 0, count = 0;
};

// The ranges that `table` (the text of /etc/subuid or /etc/subgid) grants to the user, by name or number.
std::vector<IdRange> ranges_of(const std::string& table, const std::string& name, uid_t uid);

// Arguments for newuidmap or newgidmap after the process id: the caller's own id becomes 0, the granted
// ranges become 1, 2, 3, ... in their order.
std::vector<std::string> map_arguments(unsigned long own, const std::vector<IdRange>& ranges);

// The first id behind all ranges that `table` grants to anybody; at least 100000, where such ids begin.
unsigned long first_free_id(const std::string& table);

unsigned long highest_mapped(const std::vector<IdRange>& ranges);

}  // namespace routerbox
