// raw.h: what the tests of the client on plain sockets share.
#pragma once

#include "util/cases.h"
#include "util/owners.h"
#include "zel/http_raw.h"

using Pool = std::unique_ptr<mem_pool, zel::Call<mem_destroy_pool>>;

// So small that most of what is allocated has memory of its own, whose bounds the address sanitizer knows.
inline Pool new_pool() {
  return Pool(mem_create_pool(80, nullptr, 0));
}

inline std::string text_of(const char* text, int length) {
  return std::string(text, static_cast<size_t>(length));
}
