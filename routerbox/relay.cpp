#include "relay.h"

#include <utility>

namespace routerbox {
namespace {
constexpr size_t kLongestLine = 65536;  // what is longer is passed on in pieces
}

LineRelay::LineRelay(Descriptor from, int to, std::string prefix)
    : from_(std::move(from)), to_(to), prefix_(std::move(prefix)) {
  if (fcntl(from_.get(), F_SETFL, O_NONBLOCK) != 0) fail_errno("cannot read a plug-in's output");
}

bool LineRelay::pump() {
  char block[8192];
  while (true) {
    const ssize_t count = retry([&] { return read(from_.get(), block, sizeof block); });
    if (count > 0) pending_.append(block, static_cast<size_t>(count));
    const bool ended = count == 0 || (count < 0 && errno != EAGAIN);
    pass_lines(ended);
    if (count <= 0) return !ended;
  }
}

void LineRelay::pass_lines(bool all) {
  std::string text;
  size_t begin = 0;
  for (size_t end; (end = pending_.find('\n', begin)) != std::string::npos; begin = end + 1)
    text += prefix_ + pending_.substr(begin, end - begin + 1);
  pending_.erase(0, begin);
  if (!pending_.empty() && (all || pending_.size() > kLongestLine)) {
    text += prefix_ + pending_ + '\n';
    pending_.clear();
  }
  write_all(to_, text);
}

}  // namespace routerbox
