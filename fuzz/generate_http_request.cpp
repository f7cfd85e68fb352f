// Requests and forms from lines: method, path, pairs of headers up to an empty line, pairs of parameters up to another,
// body. An empty value stands for none.
#include <zel/util.h>

#include <list>
#include <utility>
#include <vector>

#include "http_pool.h"

namespace {

// A list with the texts that it points to.
struct List {
  std::list<std::string> texts;
  http_header_elem* first = nullptr;
  std::vector<std::pair<std::string, std::string>> pairs;  // those that are written, in order
};

List take_list(mem_pool* pool, std::string* input) {
  List list;
  while (!input->empty()) {
    const std::string name = take_line(input);
    if (name.empty()) break;
    list.texts.push_back(name);
    const char* const kept_name = list.texts.back().c_str();
    list.texts.push_back(take_line(input));
    check(http_header_list_add_elem(pool, &list.first, kept_name, list.texts.back().c_str()) == 0);
  }
  for (http_header_elem* at = list.first; at != nullptr; at = at->next) {
    if (*at->value != '\0') list.pairs.emplace_back(at->name, at->value);
    if (*at->value == '\0') at->value = nullptr;
  }
  return list;
}

std::string decoded(std::string text) {
  char *from = text.data(), *to = text.data();
  unescape_uri(&to, &from, text.size(), 0);
  return text.substr(0, static_cast<size_t>(to - text.data()));
}

void check_form(mem_pool* pool, const List& list) {
  char* text = nullptr;
  int length = 0;
  check(http_encode_post_data(pool, list.first, &text, &length) == (list.first == nullptr ? -1 : 0));
  std::string form = text_of(reinterpret_cast<const uint8_t*>(text), static_cast<size_t>(length));
  for (const auto& [name, value] : list.pairs) {
    const std::string pair = form.substr(0, form.find('&'));
    form.erase(0, pair.size() + 1);
    const size_t equals = pair.find('=');
    check(equals != std::string::npos && decoded(pair.substr(0, equals)) == name &&
          decoded(pair.substr(equals + 1)) == value);
  }
  check(form.empty());
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::string input = text_of(data, size);
  for (char& byte : input) byte = byte == '\0' ? ' ' : byte;
  const Pool pool = new_pool();
  const std::string method = take_line(&input), path = take_line(&input);
  const List headers = take_list(pool.get(), &input), parameters = take_list(pool.get(), &input);
  check_form(pool.get(), parameters);

  std::string expected = method + " " + path + (parameters.first != nullptr ? "?" : "");
  for (size_t i = 0; i < parameters.pairs.size(); ++i) {
    expected += (i != 0 ? "&" : "") + parameters.pairs[i].first + "=" + parameters.pairs[i].second;
  }
  expected += " HTTP/1.1\r\n";
  for (const auto& [name, value] : headers.pairs) expected += name + ":" + value + "\r\n";
  expected += "\r\n" + input;

  char* request = nullptr;
  int length = 0;
  const int code =
      generate_http_request(pool.get(), method.c_str(), path.c_str(), headers.first, parameters.first,
                            input.data(), static_cast<int>(input.size()), &request, &length);
  const bool allowed = method == "GET" || method == "POST" || method == "PUT";
  check(code == (headers.first == nullptr ? -1 : allowed ? 0 : -2));
  check(code != 0 || (expected == request && expected.size() == static_cast<size_t>(length)));
  return 0;
}
