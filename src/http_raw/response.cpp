// A response taken apart.
#include <string_view>

#include "http_raw/head.h"
#include "http_raw/pool_text.h"

namespace {

using std::string_view;
using zel::http::copy_to;
using zel::http::Field;

struct ListResult {
  bool done;
  bool chunked;
};

// Adds the header lines to the list, if there is one.
ListResult list_fields(mem_pool* pool, string_view lines, http_header_elem** list) {
  bool chunked = false;
  for (Field field; field.take(&lines);) {
    chunked = chunked || field.says_chunked();
    if (list == nullptr) continue;
    const char* const name = copy_to(pool, field.name());
    const char* const value = copy_to(pool, field.value());
    if (http_header_list_add_elem(pool, list, name, value) != 0) return {false, chunked};
  }
  return {true, chunked};
}

void join_chunks(char* body, int* length) {
  *length = get_chunk_page(body, *length);
  if (*length > 0) body[*length] = '\0';  // sizes stood between the data, so there is room
}

}  // namespace

int parse_http_response(mem_pool* pool, char* response, int length, int* status_code, char** version,
                        http_header_elem** headers, char** body, int* body_length, int dechunk) {
  if (response == nullptr || length <= 0 || status_code == nullptr) return -1;
  const auto head = zel::http::read_head({response, static_cast<size_t>(length)});
  if (!head) return -2;
  *status_code = head->status;
  if (pool == nullptr && (version != nullptr || headers != nullptr)) return -1;
  if (version != nullptr) {
    *version = head->version.empty() ? nullptr : copy_to(pool, head->version);
    if (*version == nullptr && !head->version.empty()) return -1;
  }
  const ListResult fields = list_fields(pool, head->fields, headers);
  if (!fields.done) return -1;
  if (head->body_at == string_view::npos || body == nullptr || body_length == nullptr) return 0;
  *body = response + head->body_at;
  *body_length = length - static_cast<int>(head->body_at);
  if (dechunk != 0 && fields.chunked && *body_length > 0) join_chunks(*body, body_length);
  return 0;
}
