// whole_file.h: a file's content, whole.
#pragma once

#include "base/handles.h"

namespace zel {

struct WholeFile {
  Memory<char> text;  // terminated; null if it could not be read
  size_t size = 0;    // without the NUL
};

// Fails if the file cannot be opened for reading and writing, has no size, or memory is short.
[[nodiscard]] WholeFile read_whole_file(const char* path);

}  // namespace zel
