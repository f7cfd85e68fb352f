#include <cstring>

#include <zel/util.h>
#include "input.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = text_of(data, size);
  Exact buffer(input + '#');
  const char* const trimmed = trim(buffer.data(), static_cast<int>(size));

  // A text in the buffer, and part of the input as it stood there.
  check(trimmed >= buffer.data() && trimmed <= buffer.data() + size);
  const auto offset = static_cast<size_t>(trimmed - buffer.data());
  const size_t length = strnlen(trimmed, size + 1 - offset);
  check(offset + length <= size && input.compare(offset, length, trimmed, length) == 0);
  return 0;
}
