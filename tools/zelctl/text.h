// text.h: texts for people.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace zelctl {

// As printf.
std::string format(const char* text, ...) __attribute__((format(printf, 1, 2)));

// "1 plug-in", "2 plug-ins".
std::string counted(size_t count, const char* what);

// Rows of cells as aligned columns, by characters. A row may have fewer cells than the others.
std::string columns(const std::vector<std::vector<std::string>>& rows);

// A text from outside as a terminal and JSON can take it: control characters, and bytes that are no UTF-8, become
// question marks. With `lines`, line ends and tabs stay.
std::string readable(std::string_view text, bool lines = false);

// The candidate that a person probably meant, or an empty text.
std::string nearest(std::string_view word, const std::vector<std::string>& candidates);

// The words between blanks.
std::vector<std::string> words_of(std::string_view text);

// Lines end before the width; every line but the first is indented.
std::string wrapped(std::string_view text, size_t width, size_t indent);

// "640 bytes", "1.5 MiB".
std::string size_text(uint64_t bytes);

// "42 s", "3 min 20 s", "2 h 5 min".
std::string duration_text(uint64_t seconds);

// The number, if the whole text is one of decimal digits that fits.
bool number_from(std::string_view text, uint64_t* number);

}  // namespace zelctl
