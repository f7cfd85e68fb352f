#pragma once

#include <stdexcept>

namespace hostbus {

// Why the broker cannot start; the text says what to do about it.
class StartError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace hostbus
