#include "text.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace zelctl {
namespace {

// Bytes of the UTF-8 character that begins there, or 0 if none does.
size_t character_length(std::string_view text, size_t at) {
  static constexpr struct {
    size_t length;
    unsigned mask, lead;
    unsigned least;  // smaller numbers have a shorter form
  } kForms[] = {{1, 0x80, 0x00, 0}, {2, 0xE0, 0xC0, 0x80}, {3, 0xF0, 0xE0, 0x800}, {4, 0xF8, 0xF0, 0x10000}};
  const auto byte = [&](size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
  for (const auto& form : kForms) {
    if ((byte(at) & form.mask) != form.lead) continue;
    if (at + form.length > text.size()) return 0;
    unsigned number = byte(at) & ~form.mask;
    for (size_t i = 1; i < form.length; ++i) {
      if ((byte(at + i) & 0xC0U) != 0x80) return 0;
      number = number << 6U | (byte(at + i) & 0x3FU);
    }
    const bool valid = number >= form.least && number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
    return valid ? form.length : 0;
  }
  return 0;
}

// Also the second set of control characters, 0x80 to 0x9F, which is two bytes long here.
bool is_control(std::string_view character) {
  const unsigned char first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

// Calls visit(place, cell, whether it is the row's last).
template <class Visit>
void each_cell(std::string_view row, Visit visit) {
  size_t place = 0;
  for (size_t end; (end = row.find('\t')) != std::string_view::npos; row.remove_prefix(end + 1))
    visit(place++, row.substr(0, end), false);
  visit(place, row, true);
}

size_t width_of(std::string_view text) {
  return static_cast<size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80; }));
}

// How many letters must be changed, added or left out to turn one into the other.
size_t distance(std::string_view a, std::string_view b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0]++;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

std::string format_list(const char* text, va_list values) {
  char* made = nullptr;
  const int length = vasprintf(&made, text, values);
  if (length < 0) return text;
  std::string result(made, static_cast<size_t>(length));
  free(made);
  return result;
}

std::string format(const char* text, ...) {
  va_list values;
  va_start(values, text);
  std::string result = format_list(text, values);
  va_end(values);
  return result;
}

void append(std::string* to, const char* text, ...) {
  va_list values;
  va_start(values, text);
  *to += format_list(text, values);
  va_end(values);
}

std::string joined(const std::string& words, const char* word) {
  return format("%s%s%s", words.c_str(), words.empty() ? "" : " ", word);
}

std::string columns(const std::vector<std::string>& rows) {
  std::vector<size_t> widths;
  for (const std::string& row : rows)
    each_cell(row, [&](size_t place, std::string_view cell, bool last) {
      if (place == widths.size()) widths.push_back(0);
      if (!last) widths[place] = std::max(widths[place], width_of(cell));
    });
  std::string text;
  for (const std::string& row : rows) {
    each_cell(row, [&](size_t place, std::string_view cell, bool last) {
      text.append(cell);
      if (!last) text.append(widths[place] - width_of(cell) + 2, ' ');
    });
    while (!text.empty() && text.back() == ' ') text.pop_back();  // behind the last cell that is not empty
    text += '\n';
  }
  return text;
}

std::string readable(std::string_view text, const char* kept) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    const size_t length = character_length(text, at);
    const std::string_view character = text.substr(at, std::max<size_t>(length, 1));
    const bool plain = length != 0 && (!is_control(character) || std::strchr(kept, character[0]) != nullptr);
    if (plain && character[0] != '\0')
      result.append(character);
    else
      result += '?';
    at += character.size();
  }
  return result;
}

void Nearest::offer(std::string_view candidate) {
  const size_t far = !word_.empty() && candidate.starts_with(word_) ? 1 : distance(word_, candidate);
  if (far >= least_) return;
  least_ = far;
  found_ = candidate;
}

std::vector<std::string> words_of(std::string_view text, char separator) {
  std::vector<std::string> words;
  for (size_t at = 0; (at = text.find_first_not_of(separator, at)) != std::string_view::npos;) {
    const size_t end = std::min(text.find(separator, at), text.size());
    words.emplace_back(text.substr(at, end - at));
    at = end;
  }
  return words;
}

int sentence_length(const char* text) {
  const char* const end = std::strstr(text, ". ");
  return static_cast<int>(end != nullptr ? end - text : std::strlen(text));
}

std::string wrap(std::string_view text, size_t width, size_t indent) {
  std::string result;
  size_t column = 0;
  for (const std::string& word : words_of(text)) {
    if (column != 0 && column + 1 + word.size() > width) {
      result += '\n';
      result.append(indent, ' ');
      column = 0;
    } else if (column != 0) {
      result += ' ';
      ++column;
    }
    result += word;
    column += word.size();
  }
  return result;
}

std::string size_text(uint64_t bytes) {
  static constexpr const char* kUnits[] = {"KiB", "MiB", "GiB", "TiB"};
  if (bytes < 1024) return format("%u byte%s", static_cast<unsigned>(bytes), plural(bytes));
  uint64_t tenths = 0;
  size_t unit = 0;
  for (;; ++unit) {
    const size_t bits = 10 * (unit + 1);
    const uint64_t rest = bytes & ((uint64_t{1} << bits) - 1);
    tenths = (bytes >> bits) * 10 + ((rest * 10 + (uint64_t{1} << (bits - 1))) >> bits);
    if (tenths < 10240 || unit + 1 == std::size(kUnits)) break;
  }
  return format("%llu.%u %s", static_cast<unsigned long long>(tenths / 10),
                static_cast<unsigned>(tenths % 10), kUnits[unit]);
}

std::string duration_text(uint64_t seconds) {
  const unsigned long long s = seconds;
  if (s < 60) return format("%llu s", s);
  if (s < 3600) return format("%llu min %llu s", s / 60, s % 60);
  if (s < 48 * 3600ULL) return format("%llu h %llu min", s / 3600, s / 60 % 60);
  return format("%llu days", s / 86400);
}

bool number_from(std::string_view text, uint64_t* number) {
  *number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9' || *number > (UINT64_MAX - 9) / 10) return false;
    *number = *number * 10 + static_cast<uint64_t>(c - '0');
  }
  return !text.empty();
}

}  // namespace zelctl
