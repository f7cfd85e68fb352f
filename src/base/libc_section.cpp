#include "base/libc_section.h"

#include "base/in_child.h"

namespace {

// Recursive, for a signal's handler that forks in the middle of a message.
zel::Mutex inside(PTHREAD_MUTEX_RECURSIVE);

const int forks_wait = pthread_atfork([] { inside.lock(); }, [] { inside.unlock(); }, nullptr);

}  // namespace

namespace zel {

LibcSection::LibcSection() noexcept {
  inside.lock();
}

LibcSection::~LibcSection() {
  inside.unlock();
}

}  // namespace zel
