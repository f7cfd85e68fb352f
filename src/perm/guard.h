// guard.h: the two questions in front of every guarded call: who is the caller, and may it.
#pragma once

#include <zel/perm.h>

#include "base/in_child.h"

namespace zel {

// One family of calls with its tag. The appid is asked for until it is known, then kept as long as the object lives:
// for the life of the process, or for one call.
class Guard {
 public:
  // What it logs under the tag: nothing; both answers, while zel_debug is set; or why it refuses.
  enum class Logs { kNothing, kAnswers, kRefusals };

  constexpr Guard(const char* tag, Logs logs) noexcept : tag_(tag), logs_(logs) {}

  // Whether the caller's appid is known and holds the ability. The log gets `who` and `line` for the call's.
  [[nodiscard]] bool permits(uint32_t ability, const char* who, int line = __builtin_LINE());

  // The appid of a guard that only one thread has.
  const char* appid() const noexcept { return appid_; }

 private:
  using Appid = char[PERM_APPID_SIZE];

  [[nodiscard]] bool get_appid(Appid& appid, const char* who, int line);

  const char* const tag_;
  const Logs logs_;
  static Mutex mutex_;  // Of all guards: it is held for the appid alone, which each asks for once.
  Appid appid_ = {};    // Guarded by mutex_.
};

}  // namespace zel
