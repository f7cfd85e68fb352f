#pragma once

#include <cstdint>
#include <map>
#include <set>

namespace hostbus {

// Which objects want to hear of which others, by their ids.
class Subscriptions {
 public:
  using Ids = std::set<uint32_t>;

  // False when nothing changed.
  bool add(uint32_t subscriber, uint32_t target);
  bool remove(uint32_t subscriber, uint32_t target);

  Ids subscribers_of(uint32_t target) const { return find(subscribers_, target); }
  Ids targets_of(uint32_t subscriber) const { return find(targets_, subscriber); }

 private:
  using Table = std::map<uint32_t, Ids>;

  static Ids find(const Table& table, uint32_t id) {
    const auto row = table.find(id);
    return row != table.end() ? row->second : Ids();
  }

  Table subscribers_;  // by target
  Table targets_;      // by subscriber
};

}  // namespace hostbus
