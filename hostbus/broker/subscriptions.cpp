#include "subscriptions.h"

namespace hostbus {

bool Subscriptions::add(uint32_t subscriber, uint32_t target) {
  targets_[subscriber].insert(target);
  return subscribers_[target].insert(subscriber).second;
}

bool Subscriptions::remove(uint32_t subscriber, uint32_t target) {
  const auto take_out = [](Table& table, uint32_t row, uint32_t id) {
    const auto at = table.find(row);
    if (at == table.end() || at->second.erase(id) == 0) return false;
    if (at->second.empty()) table.erase(at);
    return true;
  };
  take_out(targets_, subscriber, target);
  return take_out(subscribers_, target, subscriber);
}

}  // namespace hostbus
