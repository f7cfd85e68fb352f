#include "random_id.h"

#include <sys/random.h>

#include <stdexcept>

#include "base/handles.h"

namespace hostbus {

uint32_t random_id() {
  uint32_t id = 0;
  do {
    if (zel::retry([&] { return getrandom(&id, sizeof id, 0); }) != sizeof id) {
      throw std::runtime_error("the kernel gives no random numbers: it is too old for this program");
    }
  } while (id < kFirstFreeId);
  return id;
}

}  // namespace hostbus
