// filter.h: a shell's command between a text and a text.
#pragma once
#include <string>
#include <string_view>

namespace zelctl {

struct Filtered {
  std::string text;  // what it printed, without the last line's end
  int status;        // as a shell tells it; 124 when it was too slow and was ended
};

// Runs it with `input` as standard input, and its standard error where ours is.
Filtered filter(const char* command, std::string_view input, unsigned seconds);

}  // namespace zelctl
