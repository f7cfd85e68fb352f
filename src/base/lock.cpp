#include "base/lock.h"

#include "base/in_child.h"

namespace {

// There from the moment the library is loaded: a plug-in that only sends never starts the service.
zel::Mutex global_lock(PTHREAD_MUTEX_RECURSIVE);

}  // namespace

int zel_lock(void) {
  return global_lock.lock();
}

int zel_unlock(void) {
  return global_lock.unlock();
}
