// patience.h: how long the library waits for the router's services, and how often it asks.
#pragma once

namespace zel {

struct Patience {
  int seconds;  // of one attempt
  int attempts;
};

// The management interface. DNS takes the router longer to apply.
inline constexpr Patience kForQuery{10, 1};
inline constexpr Patience kForDns{16, 2};

// The download daemon.
inline constexpr Patience kForTaskCreation{10, 1};
inline constexpr Patience kForTaskQuery{20, 1};
inline constexpr Patience kForTaskLists{10, 2};
inline constexpr Patience kForTaskControl{10, 2};

}  // namespace zel
