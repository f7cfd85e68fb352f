// text.h: texts for people.
#pragma once
#include <cstdarg>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// The C++ library has these functions, but for starts_with and ends_with; without this, headers of C++20 would put them
// in here once more.
extern template class std::basic_string<char>;

namespace zelctl {

// As printf.
std::string format(const char* text, ...) __attribute__((format(printf, 1, 2)));
std::string format_list(const char* text, va_list values) __attribute__((format(printf, 1, 0)));
void append(std::string* to, const char* text, ...) __attribute__((format(printf, 2, 3)));

// With a blank between them, unless there are no words yet.
std::string joined(const std::string& words, const char* word);

// The "s" of a plural.
inline const char* plural(size_t count) {
  return count == 1 ? "" : "s";
}

// Rows of cells, parted by tabs, as aligned columns. A row may have fewer cells than the others.
std::string columns(const std::vector<std::string>& rows);

// A text from outside as a terminal and JSON can take it: control characters, and bytes that are no UTF-8, become
// question marks; tabs and line ends too, unless they are among those kept.
std::string readable(std::string_view text, const char* kept = "");

// Of the candidates offered, the one that a person probably meant.
class Nearest {
 public:
  explicit Nearest(std::string_view word) : word_(word), least_(word.size() / 3 + 2) {}
  void offer(std::string_view candidate);
  // Empty if none is near.
  std::string_view found() const { return found_; }

 private:
  std::string_view word_, found_;
  size_t least_;
};

// The words between blanks, or between other separators.
std::vector<std::string> words_of(std::string_view text, char separator = ' ');

// Bytes of the text up to its first full stop.
int sentence_length(const char* text);

// Lines end before the width; every line but the first is indented.
std::string wrap(std::string_view text, size_t width, size_t indent);

// "640 bytes", "1.5 MiB".
std::string size_text(uint64_t bytes);

// "42 s", "3 min 20 s", "2 h 5 min".
std::string duration_text(uint64_t seconds);

// The number, if the whole text is one of decimal digits that fits.
bool number_from(std::string_view text, uint64_t* number);

}  // namespace zelctl
