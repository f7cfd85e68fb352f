// The text of a request. Each text is sized in one pass and written in a second.
#include <zel/http_raw.h>
#include <zel/util.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "http_raw/pool_text.h"

const char* const G_HTTP_CRLF = "\r\n";

namespace {

using std::string_view;
using Element = http_header_elem;

constexpr string_view kMethods[] = {"POST", "GET", "PUT"};
constexpr string_view kProtocol = " HTTP/1.1\r\n";
constexpr uint64_t kSlack = 64;

bool is_pair(const Element& element) {
  return element.name != nullptr && element.value != nullptr;
}

// The room that a list takes: `each` for every element, `of_pair` and both texts for one that is written.
template <class SizeOf>
uint64_t size_of(const Element* list, uint64_t each, uint64_t of_pair, SizeOf size_of_text) {
  uint64_t size = 0;
  for (; list != nullptr; list = list->next) {
    size += each;
    if (is_pair(*list)) size += of_pair + size_of_text(list->name) + size_of_text(list->value);
  }
  return size;
}

uint64_t escaped_size(const char* text) {
  const size_t length = strlen(text);
  return length + 2 * uint64_t{escape_uri(nullptr, text, length, QO_ESCAPE_ARGS)};
}

class Writer {
 public:
  explicit Writer(char* at) : at_(at) {}

  void text(string_view text) { at_ = std::copy(text.begin(), text.end(), at_); }
  void escape(const char* text) {
    at_ += escape_uri(at_, text, strlen(text), QO_ESCAPE_ARGS) - reinterpret_cast<uintptr_t>(at_);
  }
  void end() { *at_ = '\0'; }
  int length_from(const char* start) const { return static_cast<int>(at_ - start); }

 private:
  char* at_;
};

// Pairs with "&" between them.
template <class Write>
void write_query(const Element* list, Write write) {
  string_view separator;
  for (; list != nullptr; list = list->next) {
    if (!is_pair(*list)) continue;
    write(separator, *list);
    separator = "&";
  }
}

void write_parameters(Writer& out, const Element* parameters) {
  if (parameters == nullptr) return;
  out.text("?");
  write_query(parameters, [&](string_view separator, const Element& pair) {
    out.text(separator);
    out.text(pair.name);
    out.text("=");
    out.text(pair.value);
  });
}

void write_headers(Writer& out, const Element* headers) {
  for (; headers != nullptr; headers = headers->next) {
    if (!is_pair(*headers)) continue;
    out.text(headers->name);
    out.text(":");
    out.text(headers->value);
    out.text(G_HTTP_CRLF);
  }
}

}  // namespace

int http_encode_post_data(mem_pool* pool, const http_header_elem* list, char** text, int* length) {
  if (pool == nullptr || list == nullptr || text == nullptr) return -1;
  char* const start = zel::http::room_for(pool, size_of(list, 1, 1, escaped_size) + 1);
  if (start == nullptr) return -1;
  Writer out(start);
  write_query(list, [&](string_view separator, const Element& pair) {
    out.text(separator);
    out.escape(pair.name);
    out.text("=");
    out.escape(pair.value);
  });
  *text = start;
  if (length != nullptr) *length = out.length_from(start);
  return 0;
}

int generate_http_request(mem_pool* pool, const char* method, const char* path,
                          const http_header_elem* headers, const http_header_elem* parameters,
                          const void* body, int body_length, char** request, int* request_length) {
  if (pool == nullptr || method == nullptr || path == nullptr || headers == nullptr || request == nullptr ||
      request_length == nullptr) {
    return -1;
  }
  const bool allowed = std::find(std::begin(kMethods), std::end(kMethods), method) != std::end(kMethods);
  if (!allowed) return -2;
  if (body != nullptr && body_length < 0) return -1;

  const string_view content(static_cast<const char*>(body),
                            body != nullptr ? static_cast<size_t>(body_length) : 0);
  const uint64_t head = uint64_t{strlen(method)} + strlen(path) + kProtocol.size() + 1;
  const uint64_t lists = size_of(parameters, 1, 1, strlen) + size_of(headers, 0, 3, strlen);
  char* const start = zel::http::room_for(pool, head + lists + 2 + content.size() + kSlack);
  if (start == nullptr) return -1;
  Writer out(start);
  out.text(method);
  out.text(" ");
  out.text(path);
  write_parameters(out, parameters);
  out.text(kProtocol);
  write_headers(out, headers);
  out.text(G_HTTP_CRLF);
  out.text(content);
  out.end();
  *request = start;
  *request_length = out.length_from(start);
  return 0;
}
