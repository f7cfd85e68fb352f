#include "base/lock.h"

namespace {

pthread_once_t created = PTHREAD_ONCE_INIT;
pthread_mutexattr_t recursive_attribute;
pthread_mutex_t global_lock;

void create() {
  pthread_mutexattr_init(&recursive_attribute);
  pthread_mutexattr_settype(&recursive_attribute, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(&global_lock, &recursive_attribute);
}

}  // namespace

namespace zel {

void create_global_lock() noexcept {
  pthread_once(&created, create);
}

}  // namespace zel

int zel_lock(void) {
  zel::create_global_lock();
  return pthread_mutex_lock(&global_lock);
}

int zel_unlock(void) {
  zel::create_global_lock();
  return pthread_mutex_unlock(&global_lock);
}
