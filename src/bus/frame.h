// frame.h: the limits of a frame on the bus, for what is sent and for what comes in.
//
// A frame is 8 bytes of header, the first of them the version, and a body that begins with its own length. Libubus
// refuses bodies over 1 MiB and headers of another version by dropping the 12 bytes it has read: from then on it
// takes contents for heads, and hears nothing sensible any more.
#pragma once

#include <cstddef>

namespace zel {

inline constexpr std::size_t kLargestBody = 1048576;

constexpr std::size_t pad(std::size_t size) noexcept {
  return (size + 3) & ~std::size_t{3};
}

// Whether a body of that size may be sent. A broker that passes a call on adds the names of the caller's account:
// what comes near the limit would reach the receiver beyond it.
constexpr bool may_be_sent(std::size_t body) noexcept {
  constexpr std::size_t kAddedByBroker = 256;
  return pad(body) <= kLargestBody - kAddedByBroker;
}

// Looks at the head of what libubus would read next from a bus connection. Takes out a frame that is too large;
// shuts a connection whose head makes no sense, or whose frame does not come to its end within a second.
void clear_bad_frames(int fd) noexcept;

}  // namespace zel
