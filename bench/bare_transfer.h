// A GET as a program makes it with libcurl alone.
#pragma once

#include <zel/http.h>

#include <cstddef>

namespace bare_transfer {

struct Text {
  std::size_t length = 0;
  char bytes[ZEL_HTTP_RESULT_SIZE];
};

// Returns whether the status was 200. The options are those the library sets.
bool get(const char* url, int timeout_s, Text& body);

}  // namespace bare_transfer
