// lock.h: the global lock as a scope.
//
// Order of locks: start-up's, then the global lock, then the others, which are held alone; never the reverse.
// They are held for moments (the loop table's, the event calls' appid's, errlog_mutex), but that of the download
// calls for as long as their daemon takes to answer.
#ifndef ZEL_SRC_SERVICE_LOCK_H
#define ZEL_SRC_SERVICE_LOCK_H

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

#endif
