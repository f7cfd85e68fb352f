// lock.h: the global lock as a scope.
//
// Order of locks: global lock, then the loop table's, then errlog_mutex; never the reverse.
#ifndef ZEL_SRC_SERVICE_LOCK_H
#define ZEL_SRC_SERVICE_LOCK_H

#include <zel/service.h>

namespace zel {

// Makes the global lock recursive; start-up's first use of it.
void create_global_lock() noexcept;

class GlobalSection {
 public:
  GlobalSection() noexcept { zel_lock(); }
  ~GlobalSection() { zel_unlock(); }
  GlobalSection(const GlobalSection&) = delete;
  GlobalSection& operator=(const GlobalSection&) = delete;
};

}  // namespace zel

#endif
