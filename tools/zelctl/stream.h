// stream.h: commands that go on: what comes is put out as it comes, in lines or in a JSON document each.
#pragma once
#include "command.h"
#include "result.h"

namespace zelctl {

inline constexpr Option kCountOption = {"count", "N", "Ends after so many"};
inline constexpr Option kForOption = {"for", "S", "Ends after so many seconds"};

// How long such a command goes on.
class Stream {
 public:
  // From --count and --for; `what` comes, "event", say.
  Stream(const Call& call, const char* what);

  unsigned seconds() const { return seconds_; }  // 0: without limit
  // Shows one more, unless all have come. True when there are to be no more.
  bool show(Result* one);
  bool is_counted() const { return wanted_ != 0; }
  bool is_complete() const { return left_ == 0; }
  // When the time is over: done, unless a number was wanted and not all have come.
  int end() const;

 private:
  const char* what_;
  unsigned seconds_;
  uint64_t wanted_;  // 0: any number
  uint64_t left_;
};

}  // namespace zelctl
