#include "stream.h"

#include "failure.h"
#include "text.h"

namespace zelctl {

Stream::Stream(const Call& call, const char* what) : what_(what), seconds_(0), wanted_(0), left_(UINT64_MAX) {
  if (const char* const seconds = call.option("for"))
    seconds_ = static_cast<unsigned>(number_value("--for", seconds, 1, 1'000'000));
  if (const char* const count = call.option("count"))
    left_ = wanted_ = number_value("--count", count, 1, 1'000'000'000);
}

bool Stream::show(Result* one) {
  if (left_ != 0) {
    --left_;
    one->show();
  }
  return left_ == 0;
}

int Stream::end() const {
  if (wanted_ == 0 || left_ == 0) return kDone;
  fail(kTimedOut, seconds_ != 0 ? "More time: --for S" : "Run it again to have the rest.",
       "%llu of %llu %ss came", static_cast<unsigned long long>(wanted_ - left_),
       static_cast<unsigned long long>(wanted_), what_);
}

}  // namespace zelctl
