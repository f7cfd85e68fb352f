// blocks.h: the blocks of a pool and the small pieces cut from them.
#pragma once

#include <zel/mempool.h>

#include <cstddef>
#include <cstdint>

namespace zel::mempool {

constexpr std::size_t kAlignment = 16;

// What a pool's size counts for the pool itself, on every machine, and what a reset takes from later blocks.
constexpr std::size_t kCountedHeader = 64;
constexpr std::size_t kLostByReset = 48;

// What the pool really takes of its first block. On 64-bit machines more than is counted, and blocks are larger
// by the difference.
constexpr std::size_t kPoolHeader = (sizeof(mem_pool) + kAlignment - 1) / kAlignment * kAlignment;
constexpr std::size_t kLaterHeader = kPoolHeader - kLostByReset;
static_assert(kPoolHeader >= kCountedHeader && kLaterHeader >= sizeof(mem_pool_data));

// Programs for the router are compiled against these places.
constexpr bool kRouterLayout = sizeof(void*) == 4;
static_assert(!kRouterLayout || (sizeof(mem_pool_data) == 16 && offsetof(mem_pool_data, failed) == 12));
static_assert(!kRouterLayout || (sizeof(mem_pool_large) == 8 && sizeof(mem_pool_cleanup) == 12));
static_assert(!kRouterLayout || (sizeof(mem_pool) == 64 && kPoolHeader == 64 && kLaterHeader == 16));
static_assert(!kRouterLayout || (offsetof(mem_pool, max) == 16 && offsetof(mem_pool, current) == 20));
static_assert(!kRouterLayout || (offsetof(mem_pool, large) == 24 && offsetof(mem_pool, cleanup) == 28));
static_assert(!kRouterLayout || (offsetof(mem_pool, log) == 32 && offsetof(mem_pool, mutex) == 36));
static_assert(!kRouterLayout || offsetof(mem_pool, safe) == 60);
static_assert(offsetof(mem_pool_data, end) == sizeof(void*) && offsetof(mem_pool, d) == 0);

inline std::uintptr_t address(const void* place) noexcept {
  return reinterpret_cast<std::uintptr_t>(place);
}

constexpr std::uintptr_t align_up(std::uintptr_t number) noexcept {
  return (number + kAlignment - 1) / kAlignment * kAlignment;
}

// The two kinds of small pieces: where in a block the next one begins.
struct Aligned {
  static std::uintptr_t next(const mem_pool_data& block) noexcept { return align_up(address(block.last)); }
};
struct Plain {
  static std::uintptr_t next(const mem_pool_data& block) noexcept { return address(block.last); }
};

// A piece of a new block, which is added to the pool. Null when memory is short.
[[nodiscard]] void* cut_from_new_block(mem_pool* pool, std::size_t size) noexcept;

// Cuts `size` bytes, few enough for a new block, from the first block that has room, or from a new one. Null when
// memory is short. Only the blocks themselves are asked, since programs may move `last` and `current`.
template <class Kind>
[[nodiscard]] void* cut(mem_pool* pool, std::size_t size) noexcept {
  mem_pool_data* block = pool->current;
  // Full blocks in front of the one that serves are the rule in a large pool. A loop of their own halves its time.
  while (block != nullptr && address(block->last) + size > address(block->end)) block = block->next;
  for (; block != nullptr; block = block->next) {
    const std::uintptr_t piece = Kind::next(*block);
    if (piece + size > address(block->end)) continue;
    block->last = reinterpret_cast<char*>(piece + size);
    return reinterpret_cast<void*>(piece);
  }
  return cut_from_new_block(pool, size);
}

}  // namespace zel::mempool
