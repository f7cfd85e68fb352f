#include <zel/util.h>
#include "input.h"

// The first byte is the type.
int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size == 0) return 0;
  const unsigned type = data[0] % 4;
  Exact source(text_of(data + 1, size - 1));
  Exact out(source.size());
  char* to = out.data();
  char* from = source.data();
  unescape_uri(&to, &from, source.size(), type);
  const auto written = static_cast<size_t>(to - out.data());
  const auto read = static_cast<size_t>(from - source.data());
  check(written <= read && read <= source.size() && (type != 0 || read == source.size()));

  to = from = source.data();
  unescape_uri(&to, &from, source.size(), type);
  check(to == source.data() + written && from == source.data() + read);
  check(source.all().compare(0, written, out.all(), 0, written) == 0);
  return 0;
}
