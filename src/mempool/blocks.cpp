#include "mempool/blocks.h"

#include <malloc.h>

#include <algorithm>

namespace {

using namespace zel::mempool;

constexpr unsigned kFailuresBeforeSkipped = 5;

void append(mem_pool* pool, mem_pool_data* added) {
  Hints& hints = hints_of(pool);
  mem_pool_data* current = pool->current;
  for (mem_pool_data* block = current; block->next != nullptr; block = block->next) {
    if (block->failed++ >= kFailuresBeforeSkipped) current = block->next;
  }
  hints.aligned_room_before = std::max(hints.aligned_room_before, Aligned::room(hints.last));
  hints.plain_room_before = std::max(hints.plain_room_before, Plain::room(hints.last));
  hints.last.block->next = added;
  hints.last = Cursor(added);
  pool->current = current;
}

}  // namespace

namespace zel::mempool {

void* cut_from_new_block(mem_pool* pool, std::size_t size) noexcept {
  const auto whole = static_cast<std::size_t>(pool->d.end - reinterpret_cast<char*>(pool));
  void* const memory = memalign(kAlignment, whole);
  if (memory == nullptr) return nullptr;
  char* const start = static_cast<char*>(memory);
  char* const piece = start + kLaterHeader;
  auto* const block = static_cast<mem_pool_data*>(memory);
  *block = {piece + size, start + whole, nullptr, 0};
  append(pool, block);
  return piece;
}

template <class Kind>
void* cut_by_search(mem_pool* pool, std::size_t size) noexcept {
  Hints& hints = hints_of(pool);
  std::size_t most = 0;
  for (mem_pool_data* block = pool->current; block != hints.last.block; block = block->next) {
    Cursor at(block);
    if (Kind::fits(at, size)) return Kind::cut(at, size);
    most = std::max(most, Kind::room(at));
  }
  Kind::room_before(hints) = most;
  return Kind::fits(hints.last, size) ? Kind::cut(hints.last, size) : cut_from_new_block(pool, size);
}

template void* cut_by_search<Aligned>(mem_pool* pool, std::size_t size) noexcept;
template void* cut_by_search<Plain>(mem_pool* pool, std::size_t size) noexcept;

}  // namespace zel::mempool
