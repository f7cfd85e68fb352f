#include "base/libc_section.h"

#include <pthread.h>

#include <atomic>
#include <mutex>

namespace {

std::mutex inside;
std::atomic<pthread_t> owner;

// Older popens fork, and so may a signal's handler: within the thread's own section there is nobody to wait for.
bool is_inside() noexcept {
  return pthread_equal(owner, pthread_self()) != 0;
}

const int forks_wait = pthread_atfork(
    [] {
      if (!is_inside()) inside.lock();
    },
    [] {
      if (!is_inside()) inside.unlock();
    },
    [] {
      if (!is_inside()) inside.unlock();
    });

}  // namespace

namespace zel {

LibcSection::LibcSection() noexcept {
  inside.lock();
  owner = pthread_self();
}

LibcSection::~LibcSection() {
  owner = pthread_t();
  inside.unlock();
}

}  // namespace zel
