#include "http_raw/head.h"

#include <zel/util.h>

#include <algorithm>

#include "base/number.h"

namespace {

using std::string_view;

constexpr string_view kBlanks = " \t\n\v\f\r";
constexpr string_view kHeadEnd = "\r\n\r\n";
constexpr size_t kWordMax = 15;
constexpr size_t kShortestLine = 3;  // "a:" and its end

// Takes the first word off the text, cut to what is kept of one.
string_view take_word(string_view* text) {
  text->remove_prefix(std::min(text->find_first_not_of(kBlanks), text->size()));
  const string_view word = text->substr(0, text->find_first_of(kBlanks));
  text->remove_prefix(word.size());
  return word.substr(0, kWordMax);
}

template <size_t Size>
const char* trim_into(string_view text, char (&space)[Size]) {
  const size_t length = text.copy(space, Size - 1);
  return trim(space, static_cast<int>(length));
}

}  // namespace

namespace zel::http {

std::optional<Head> read_head(string_view response) noexcept {
  size_t line_end = response.find("\r\n");
  if (line_end == string_view::npos) line_end = response.find('\n');
  if (line_end == string_view::npos) return std::nullopt;

  Head head;
  string_view line = response.substr(0, std::min(line_end, response.find('\0')));
  head.version = take_word(&line);
  char code[kWordMax + 1];
  code[take_word(&line).copy(code, kWordMax)] = '\0';
  head.status = leading_number<int>(code);

  const size_t fields_at = line_end + (response[line_end] == '\r' ? 2 : 1);
  const size_t head_end = response.find(kHeadEnd);
  head.body_at = head_end == string_view::npos ? head_end : head_end + kHeadEnd.size();
  head.fields = response.substr(fields_at, head.body_at - fields_at);  // to the end of the text if need be
  return head;
}

bool Field::take(string_view* lines) noexcept {
  while (lines->size() >= kShortestLine) {
    const size_t line_end = lines->find('\n');
    if (line_end == string_view::npos) return false;
    const string_view line = lines->substr(0, line_end);
    lines->remove_prefix(line_end + 1);
    const size_t colon = line.find(':');
    if (colon == string_view::npos) continue;
    name_ = trim_into(line.substr(0, colon), name_space_);
    value_ = trim_into(line.substr(colon + 1), value_space_);
    return true;
  }
  return false;
}

bool Field::has_name(const char* name) const noexcept {
  return qo_strcasecmp(name_, name) == 0;
}

bool Field::says_chunked() const noexcept {
  return has_name("Transfer-Encoding") && qo_strcasecmp(value_, "chunked") == 0;
}

}  // namespace zel::http
