// whole_file.h: a file's content as text.
#pragma once

#include "base/handles.h"

namespace zel {

// Null if the file cannot be opened for reading and writing, has no size, or memory is short.
Memory<char> whole_file(const char* path) noexcept;

}  // namespace zel
