#include "mempool/large.h"

#include <malloc.h>

#include <cstdlib>
#include <utility>

#include "mempool/blocks.h"

namespace {

using zel::Memory;

constexpr int kRecordsTried = 5;  // A longer search would cost more than a record.

mem_pool_large* find_free_record(const mem_pool* pool) {
  mem_pool_large* record = pool->large;
  for (int tried = 0; record != nullptr && tried < kRecordsTried; ++tried, record = record->next) {
    if (record->alloc == nullptr) return record;
  }
  return nullptr;
}

// A record is cut from a block even where the pool is so small that records exceed its `max`: a new block always
// has room for one.
void* remember(mem_pool* pool, Memory<void> memory) {
  auto* const record =
      static_cast<mem_pool_large*>(zel::mempool::cut<zel::mempool::Aligned>(pool, sizeof(mem_pool_large)));
  if (record == nullptr) return nullptr;
  *record = {pool->large, memory.release()};
  pool->large = record;
  return record->alloc;
}

}  // namespace

namespace zel::mempool {

void* allocate_large(mem_pool* pool, std::size_t size) noexcept {
  Memory<void> memory(mem_alloc(size, pool->log));
  return memory != nullptr ? adopt_large(pool, std::move(memory)) : nullptr;
}

void* adopt_large(mem_pool* pool, Memory<void> memory) noexcept {
  mem_pool_large* const record = find_free_record(pool);
  return record != nullptr ? record->alloc = memory.release() : remember(pool, std::move(memory));
}

void free_large_pieces(mem_pool* pool) noexcept {
  for (const mem_pool_large* record = pool->large; record != nullptr; record = record->next)
    free(record->alloc);
}

}  // namespace zel::mempool

void* mem_pmemalign(mem_pool* pool, size_t size, size_t alignment) {
  Memory<void> memory(memalign(alignment, size));
  return memory != nullptr ? remember(pool, std::move(memory)) : nullptr;
}

int mem_pfree(mem_pool* pool, void* memory) {
  for (mem_pool_large* record = pool->large; record != nullptr; record = record->next) {
    if (record->alloc != memory) continue;
    free(memory);
    record->alloc = nullptr;
    return 0;
  }
  return -1;
}
