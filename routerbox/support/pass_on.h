// pass_on.h: signals for who waits for a child are for the child.
#pragma once
#include <signal.h>
#include <sys/types.h>

#include <initializer_list>

namespace routerbox {

// From now on these signals go to this process. For one child at a time.
inline void pass_on(std::initializer_list<int> numbers, pid_t child) {
  static volatile pid_t receiver;
  receiver = child;
  for (const int number : numbers) signal(number, [](int passed) { kill(receiver, passed); });
}

}  // namespace routerbox
