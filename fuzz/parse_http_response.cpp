#include <zel/util.h>

#include <cstring>

#include "http_pool.h"

namespace {

void check_list(const http_header_elem* list) {
  for (; list != nullptr; list = list->next) {
    check(strlen(list->name) <= 63 && strlen(list->value) <= 1023);
    for (const http_header_elem* other = list->next; other != nullptr; other = other->next) {
      check(qo_strcasecmp(list->name, other->name) != 0);
    }
  }
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string input = text_of(data, size);
  Exact response(input);
  const int length = static_cast<int>(size);
  const Pool pool = new_pool();
  int status = 0, whole = 0, dechunked = 0;
  char *version = nullptr, *body = nullptr, *same_body = nullptr;
  http_header_elem* headers = nullptr;
  const int code =
      parse_http_response(pool.get(), response.data(), length, &status, &version, &headers, &body, &whole, 0);
  check(code == (size == 0 ? -1 : input.find('\n') == std::string::npos ? -2 : 0));
  check(response.all() == input);
  check(version == nullptr || (*version != '\0' && strlen(version) <= 15));
  check_list(headers);
  const size_t end = input.find("\r\n\r\n");
  check((body != nullptr) == (end != std::string::npos));
  check(body == nullptr || (body == response.data() + end + 4 && body + whole == response.data() + size));

  const int again = parse_http_response(nullptr, response.data(), length, &status, nullptr, nullptr,
                                        &same_body, &dechunked, 1);
  check(again == code && same_body == body && dechunked >= 0 && dechunked <= whole);
  return 0;
}
