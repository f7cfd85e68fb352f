// lock.h: the global lock as a scope.
//
// Order of locks: start-up's, then the global lock (which callbacks run under), then the others; never the
// reverse. The loop table's and errlog_mutex are held alone and for moments. That of the event calls' appid, and
// of the router calls', is held while the permission table is asked. That of the DNS calls is held for a whole
// exchange with the router, a minute at worst, and that of the download calls for as long as their daemon takes to
// answer.
#pragma once

#include <zel/service.h>

namespace zel {

// Makes the lock: in start-up, or at the first use by a plug-in that only sends. Never anew, since another
// thread may hold it.
void create_global_lock() noexcept;

class GlobalSection {
 public:
  GlobalSection() noexcept { zel_lock(); }
  ~GlobalSection() { zel_unlock(); }
  GlobalSection(const GlobalSection&) = delete;
  GlobalSection& operator=(const GlobalSection&) = delete;
};

}  // namespace zel
