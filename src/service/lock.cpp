#include "service/lock.h"

namespace {

pthread_mutexattr_t recursive_attribute;
pthread_mutex_t global_lock;  // Zeroed until start-up, which Linux takes for a default mutex.

}  // namespace

namespace zel {

void create_global_lock() noexcept {
  pthread_mutexattr_init(&recursive_attribute);
  pthread_mutexattr_settype(&recursive_attribute, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&global_lock, &recursive_attribute);
}

}  // namespace zel

int zel_lock(void) {
  return pthread_mutex_lock(&global_lock);
}

int zel_unlock(void) {
  return pthread_mutex_unlock(&global_lock);
}
