// blocks.h: the blocks of a pool and the small pieces cut from them.
#ifndef ZEL_SRC_MEMPOOL_BLOCKS_H
#define ZEL_SRC_MEMPOOL_BLOCKS_H

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

// Adds a block and cuts the first `size` bytes from it. Null when memory is short.
void* cut_from_new_block(mem_pool* pool, std::size_t size) noexcept;

// Cuts `size` bytes, few enough for a new block, from the first block with room. Null when memory is short.
template <std::size_t Alignment>
void* cut(mem_pool* pool, std::size_t size) noexcept {
  for (mem_pool_data* block = pool->current; block != nullptr; block = block->next) {
    const std::size_t gap = -reinterpret_cast<std::uintptr_t>(block->last) % Alignment;
    if (gap + size <= static_cast<std::size_t>(block->end - block->last)) {
      char* const piece = block->last + gap;
      block->last = piece + size;
      return piece;
    }
  }
  return cut_from_new_block(pool, size);
}

}  // namespace zel::mempool

#endif
