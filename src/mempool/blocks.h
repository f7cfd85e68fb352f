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

constexpr std::uintptr_t aligned(std::uintptr_t number) noexcept {
  return (number + kAlignment - 1) / kAlignment * kAlignment;
}

// Where in a block the next aligned piece goes, maybe behind its end. Kept for the last block, it spares a request
// the wait until the `last` that the request before it wrote has been read and aligned.
struct Cursor {
  explicit Cursor(mem_pool_data* of) noexcept : block(of), next_aligned(aligned(address(of->last))) {}

  mem_pool_data* block;
  std::uintptr_t next_aligned;
};

// What makes requests quick. It lies in front of the pool, whose own record has no place for it: 16 bytes on the
// router, which the first block takes from the system beyond the pool's size. It goes stale if anybody else moves
// the `last` of a block or `current`.
struct alignas(kAlignment) Hints {
  Cursor last;
  // No block from `current` up to the one before the last has more room than this for a piece of the kind; the
  // true number may be smaller. It spares searches, since blocks that are nearly full stay in the search path
  // until several more were added.
  std::size_t aligned_room_before = 0;
  std::size_t plain_room_before = 0;
};

static_assert(!kRouterLayout || sizeof(Hints) == 16);

inline Hints& hints_of(mem_pool* pool) noexcept {
  return *(reinterpret_cast<Hints*>(pool) - 1);
}

// The two kinds of small pieces: the room that a block has for one, whether one of `size` bytes fits, and cutting it
// off a block where it does.
struct Aligned {
  static std::size_t& room_before(Hints& hints) noexcept { return hints.aligned_room_before; }

  static std::size_t room(const Cursor& at) noexcept {
    const std::uintptr_t end = address(at.block->end);
    return end > at.next_aligned ? end - at.next_aligned : 0;
  }

  static bool fits(const Cursor& at, std::size_t size) noexcept {
    return at.next_aligned + size <= address(at.block->end);
  }

  static void* cut(Cursor& at, std::size_t size) noexcept {
    const std::uintptr_t piece = at.next_aligned;
    at.block->last = reinterpret_cast<char*>(piece + size);
    at.next_aligned = piece + aligned(size);
    return reinterpret_cast<void*>(piece);
  }
};

struct Plain {
  static std::size_t& room_before(Hints& hints) noexcept { return hints.plain_room_before; }

  static std::size_t room(const Cursor& at) noexcept {
    return static_cast<std::size_t>(at.block->end - at.block->last);
  }

  static bool fits(const Cursor& at, std::size_t size) noexcept { return size <= room(at); }

  static void* cut(Cursor& at, std::size_t size) noexcept {
    char* const piece = at.block->last;
    at.block->last = piece + size;
    at.next_aligned = aligned(address(at.block->last));
    return piece;
  }
};

// Looks at every block from `current` on; adds one when none has room. Null when memory is short.
template <class Kind>
void* cut_by_search(mem_pool* pool, std::size_t size) noexcept;
void* cut_from_new_block(mem_pool* pool, std::size_t size) noexcept;

// Cuts `size` bytes, few enough for a new block, from the first block that has room, or from a new one. Null when
// memory is short.
template <class Kind>
void* cut(mem_pool* pool, std::size_t size) noexcept {
  Hints& hints = hints_of(pool);
  if (size <= Kind::room_before(hints)) return cut_by_search<Kind>(pool, size);
  return Kind::fits(hints.last, size) ? Kind::cut(hints.last, size) : cut_from_new_block(pool, size);
}

}  // namespace zel::mempool
