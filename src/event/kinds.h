// kinds.h: the events there are. A new one is a row here and a number in zel/event.h.
#pragma once

#include <zel/event.h>

#include <iterator>

namespace zel {

// A subevent is its event's number, shifted by so much, and its own.
inline constexpr int kSubeventBits = 8;

struct EventKind {
  const char* name;    // as logs call it
  const char* sender;  // as its sender calls it in logs
  uint32_t subevents;  // so many, from event << kSubeventBits on
};

inline constexpr EventKind kKinds[] = {
    {"ZEL_EVENT_DISK", "disk", 2}, {"ZEL_EVENT_WAN", "wan", 2}, {"ZEL_EVENT_HOME", "home", 1}};
static_assert(std::size(kKinds) == ZEL_EVENT_COUNT);

}  // namespace zel
