// Requests and forms from lines: method, path, pairs of headers up to an empty line, pairs of parameters up to another,
// body. An empty value stands for none.
#include <list>

#include "http_pool.h"

namespace {

// The texts stay where they are, as the list points to them.
http_header_elem* take_list(mem_pool* pool, std::string* input, std::list<std::string>* texts) {
  http_header_elem* list = nullptr;
  while (!input->empty()) {
    const std::string& name = texts->emplace_back(take_line(input));
    if (name.empty()) break;
    const std::string& value = texts->emplace_back(take_line(input));
    check(http_header_list_add_elem(pool, &list, name.c_str(), value.c_str()) == 0);
  }
  for (http_header_elem* at = list; at != nullptr; at = at->next) {
    if (*at->value == '\0') at->value = nullptr;
  }
  return list;
}

void check_form(mem_pool* pool, const http_header_elem* fields) {
  char* text = nullptr;
  int length = 0;
  check(http_encode_post_data(pool, fields, &text, &length) == (fields == nullptr ? -1 : 0));
  const std::string form(text, static_cast<size_t>(length));
  check(form.find_first_of(" #+/:?\\") == std::string::npos && form.find("&&") == std::string::npos);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input = text_of(data, size);
  for (char& byte : input) byte = byte == '\0' ? ' ' : byte;
  std::list<std::string> texts;
  const Pool pool = new_pool();
  const std::string method = take_line(&input), path = take_line(&input);
  const http_header_elem* const headers = take_list(pool.get(), &input, &texts);
  const http_header_elem* const parameters = take_list(pool.get(), &input, &texts);
  check_form(pool.get(), parameters);

  char* request = nullptr;
  int length = 0;
  const int code = generate_http_request(pool.get(), method.c_str(), path.c_str(), headers, parameters,
                                         input.data(), static_cast<int>(input.size()), &request, &length);
  const bool allowed = method == "GET" || method == "POST" || method == "PUT";
  check(code == (headers == nullptr ? -1 : allowed ? 0 : -2));
  if (code != 0) return 0;
  const std::string text(request);
  const std::string end = "\r\n\r\n" + input;
  check(text.size() == static_cast<size_t>(length) && text.starts_with(method + " " + path));
  check(text.ends_with(end) && text.find(" HTTP/1.1\r\n") != std::string::npos);
  return 0;
}
