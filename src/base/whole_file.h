// whole_file.h: a file's content as text.
#pragma once

#include <cstdint>

#include "base/handles.h"

namespace zel {

enum class FileFault { kNone, kNotOpened, kNoLength, kTooLong, kNoMemory, kShort };

struct WholeFile {
  Memory<char>
      text;         // Behind what was read are NULs, one at least. Null after a fault, but not after kShort.
  size_t size = 0;  // The bytes that were read.
  FileFault fault = FileFault::kNone;
};

// Reads a file of up to `most` bytes. It never waits for a FIFO's writer: that is a file without a length.
// `access` is O_RDONLY, or O_RDWR to refuse a file that the caller may only read.
[[nodiscard]] WholeFile read_whole_file(const char* path, int access, size_t most = SIZE_MAX - 1);

}  // namespace zel
