#include "base/plain_format.h"

namespace zel {

void plain_format(const char* text, char* out, std::size_t size) noexcept {
  char* const last = out + size - 1;
  while (*text != '\0') {
    const bool percent = *text == '%';
    const bool harmless = percent && (text[1] == '%' || text[1] == 'm');
    if (last - out < (percent ? 2 : 1)) break;
    *out++ = *text++;
    if (harmless) *out++ = *text++;
    if (percent && !harmless) *out++ = '%';
  }
  *out = '\0';
}

}  // namespace zel
