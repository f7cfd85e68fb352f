// whole_file.h: a file's content as text.
#ifndef ZEL_SRC_DEVICE_WHOLE_FILE_H
#define ZEL_SRC_DEVICE_WHOLE_FILE_H

#include "util/owners.h"

namespace zel {

// Null if the file cannot be opened for reading and writing, has no size, or memory is short.
Memory<char> whole_file(const char* path) noexcept;

}  // namespace zel

#endif
