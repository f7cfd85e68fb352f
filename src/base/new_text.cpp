#include "base/new_text.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>

namespace zel {

Memory<char> new_text(const char* format, ...) noexcept {
  char* text = nullptr;
  va_list arguments;
  va_start(arguments, format);
  const int length = vasprintf(&text, format, arguments);
  va_end(arguments);
  return Memory<char>(length >= 0 ? text : nullptr);
}

Memory<char> within_quotes(const char* text) noexcept {
  static constexpr char kQuote[] = "'\\''";  // ends the quotes, adds one, begins them again
  constexpr size_t kQuoteLength = sizeof kQuote - 1;
  Memory<char> quoted(static_cast<char*>(malloc(strlen(text) * kQuoteLength + 1)));
  char* out = quoted.get();
  if (out == nullptr) return quoted;
  for (; *text != '\0'; ++text) {
    if (*text == '\'') {
      memcpy(out, kQuote, kQuoteLength);
      out += kQuoteLength;
    } else {
      *out++ = *text;
    }
  }
  *out = '\0';
  return quoted;
}

Memory<char> shell_word(const char* text) noexcept {
  static constexpr char kPlain[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-./+,:=@%";
  if (*text != '\0' && text[strspn(text, kPlain)] == '\0') return Memory<char>(strdup(text));
  const Memory<char> quoted = within_quotes(text);
  return quoted ? new_text("'%s'", quoted.get()) : nullptr;
}

}  // namespace zel
