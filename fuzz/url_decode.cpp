#include <zel/util.h>
#include "input.h"

namespace {

std::string decode(const std::string& text, char after) {
  Exact buffer(text + after);
  const int length = url_decode(buffer.data(), static_cast<int>(text.size()));
  check(length >= 0 && static_cast<size_t>(length) <= text.size() && buffer.data()[length] == '\0');
  return buffer.all().substr(0, static_cast<size_t>(length));
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = text_of(data, size);
  // What the byte behind the text is makes no difference.
  check(decode(input, '#') == decode(input, '4'));
  return 0;
}
