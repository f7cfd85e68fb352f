#include "input.h"
#include "zel/util.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const char kBlanks[] = " \t\r\n";
  const std::string input = text_of(data, size);
  Exact buffer(input + '#');
  const char* const trimmed = trim(buffer.data(), static_cast<int>(size));

  const size_t kept = input.find_last_not_of(kBlanks) + 1;
  const bool one_off = kept != 0 && std::string(kBlanks).find(input[0]) != std::string::npos;
  check(trimmed == buffer.data() + (one_off ? 1 : 0));
  check(buffer.all().compare(0, kept + 1, input.substr(0, kept) + '\0') == 0);
  return 0;
}
