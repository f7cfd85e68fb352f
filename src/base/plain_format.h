// plain_format.h: text from outside that is about to be taken for a format.
#pragma once

#include <cstddef>

namespace zel {

// Copies `text` so that a printf-style function given the copy as its format reads no argument: "%%" and "%m"
// stay what they are, every other percent sign is doubled and so comes out as it was. Cuts at size - 1, never
// between the two halves of a doubled sign. `size` is at least 1.
void plain_format(const char* text, char* out, std::size_t size) noexcept;

}  // namespace zel
