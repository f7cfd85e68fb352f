// new_text.h: texts of any length. Each is null if memory is short.
#pragma once

#include <zel/export.h>

#include "base/handles.h"

namespace zel {

[[nodiscard]] Memory<char> new_text(const char* format, ...) noexcept ZEL_PRINTF(1, 2);

// The text for use between a command's single quotes.
[[nodiscard]] Memory<char> within_quotes(const char* text) noexcept;

// The text as one word of a command: as it is, or in quotes if the shell would take anything in it for its own.
[[nodiscard]] Memory<char> shell_word(const char* text) noexcept;

}  // namespace zel
