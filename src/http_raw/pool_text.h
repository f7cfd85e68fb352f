// pool_text.h: text in the memory pool of a caller.
#pragma once

#include <zel/mempool.h>

#include <climits>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace zel::http {

// Room for a text whose length callers are told as an int. Null when it is too long for that, or memory is short.
[[nodiscard]] inline char* room_for(mem_pool* pool, std::uint64_t size) noexcept {
  return size <= INT_MAX ? static_cast<char*>(mem_palloc_safe(pool, static_cast<std::size_t>(size)))
                         : nullptr;
}

// A terminated copy, or null.
[[nodiscard]] inline char* copy_to(mem_pool* pool, std::string_view text) noexcept {
  char* const copy = room_for(pool, std::uint64_t{text.size()} + 1);
  if (copy == nullptr) return nullptr;
  if (!text.empty()) memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

}  // namespace zel::http
