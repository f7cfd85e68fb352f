// failure.h: how the box gives up, and its own exit statuses.
#pragma once
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace routerbox {

// As env(1) and the shells use them, so that scripts can tell the box's failures from the command's.
inline constexpr int kBoxFailed = 125;
inline constexpr int kNotExecutable = 126;
inline constexpr int kNotFound = 127;
inline constexpr int kKilledBase = 128;

// The text is one line for the user: what went wrong, why, and what to do next.
class Failure : public std::runtime_error {
 public:
  explicit Failure(const std::string& text, int status = kBoxFailed)
      : std::runtime_error(text), status_(status) {}
  int status() const { return status_; }

 private:
  int status_;
};

// Reads errno, so it must be the first thing called after the failed step.
[[noreturn]] inline void fail_errno(const std::string& step, const std::string& advice = {}) {
  const std::string why = std::strerror(errno);
  throw Failure(step + ": " + why + (advice.empty() ? "" : "; " + advice));
}

}  // namespace routerbox
