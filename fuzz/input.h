// What the fuzz targets share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/exact.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline std::string text_of(const uint8_t* data, size_t size) {
  return std::string(reinterpret_cast<const char*>(data), size);
}

// A wrong result ends the program as a crash does, and the fuzzer then keeps the input.
inline void check(bool right) {
  if (!right) std::abort();
}

// Reads every byte of a text, so that one too far is caught.
inline void read_text(const char* text) {
  [[maybe_unused]] static volatile size_t length;
  length = std::strlen(text);
}
