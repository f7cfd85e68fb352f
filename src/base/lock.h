// lock.h: the global lock as a scope.
//
// Order of locks: start-up's, then the global lock (which callbacks run under), then the others; never the
// reverse. The loop table's, errlog_mutex and that of the C library's own locks are held
// alone and for moments. That of the guarded calls' appids is
// held while the permission table is asked. That of the DNS calls is held for a whole exchange with the router, a
// minute at worst, and that of the download calls for as long as their daemon takes to answer.
#pragma once

#include <zel/service.h>

namespace zel {

class GlobalSection {
 public:
  GlobalSection() noexcept { zel_lock(); }
  ~GlobalSection() { zel_unlock(); }
  GlobalSection(const GlobalSection&) = delete;
  GlobalSection& operator=(const GlobalSection&) = delete;
};

}  // namespace zel
