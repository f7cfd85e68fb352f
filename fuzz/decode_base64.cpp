#include <zel/util.h>
#include "input.h"

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const int length = static_cast<int>(size);
  Exact source(text_of(data, size));
  Exact out((size + 3) / 4 * 3);  // what the header calls enough
  int count = -1;
  int count_in_place = -1;
  // Nothing may come as a null pointer.
  const int result = decode_base64(size != 0 ? source.data() : nullptr, length, out.data(), &count);
  check(result == 0 ? count >= 0 && static_cast<size_t>(count) <= out.size()
                    : count == -1 && out.untouched());

  check(decode_base64(source.data(), length, source.data(), &count_in_place) == result &&
        count_in_place == count);
  if (result == 0) check(out.all().compare(0, count, source.all(), 0, count) == 0);
  return 0;
}
