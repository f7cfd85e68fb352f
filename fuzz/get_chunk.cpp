// The calls for chunked bodies, held against each other.
#include "http_pool.h"

int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size) {
  Exact body(text_of(bytes, size));
  char* const start = body.data();
  const int length = static_cast<int>(size);
  std::string joined;
  char *begin = nullptr, *end = start, *data = nullptr;
  int count = 0, last_size = -1;
  for (; get_chunk(start, length, count, &begin, &end) == 0; ++count) {
    check(begin >= start && end > begin && end <= start + length && last_size != 0);
    last_size = get_chunk_size(begin, static_cast<int>(end - begin), &data);
    check(last_size >= 0 && data > begin && data + last_size < end);
    joined.append(data, static_cast<size_t>(last_size));
  }
  check(get_chunk_num(start, length) == count);
  check(check_chunk_page_end(start, length) == (last_size == 0 ? 1 : 0));

  // A last chunk that is not whole adds what is there of it.
  char* const rest = count == 0 ? start : end;
  const int rest_length = static_cast<int>(start + length - rest);
  const int cut_size = last_size == 0 ? -1 : get_chunk_size(rest, rest_length, &data);
  if (cut_size > 0)
    joined.append(
        data, std::min<size_t>(static_cast<size_t>(cut_size), static_cast<size_t>(start + length - data)));
  check(get_chunk_page(start, length) == static_cast<int>(joined.size()));
  check(body.all().compare(0, joined.size(), joined) == 0);
  return 0;
}
