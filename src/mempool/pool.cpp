// The life of a pool, and what is taken from it.
#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>
#include <utility>

#include "base/handles.h"
#include "mempool/blocks.h"
#include "mempool/large.h"
#include "mempool/locked.h"

namespace {

using namespace zel::mempool;

constexpr size_t kLargestSmall = 4095;

char* start_of(mem_pool_data* block) {
  return reinterpret_cast<char*>(block);
}

template <class Kind>
void* allocate(mem_pool* pool, size_t size) {
  return size <= pool->max ? cut<Kind>(pool, size) : allocate_large(pool, size);
}

}  // namespace

void* mem_alloc(size_t size, void* /*log*/) {
  return malloc(size);
}

void* mem_calloc(size_t size, void* /*log*/) {
  return calloc(1, size);
}

mem_pool* mem_create_pool(size_t size, void* log, int safe) {
  if (size < kCountedHeader || size > SIZE_MAX - kPoolHeader) return nullptr;
  const size_t offered = size - kCountedHeader;
  zel::Memory<void> memory(memalign(kAlignment, kPoolHeader + offered));
  if (memory == nullptr) return nullptr;
  auto* const pool = new (memory.get()) mem_pool;
  if (safe != 0 && pthread_mutex_init(&pool->mutex, nullptr) != 0) return nullptr;
  char* const first = start_of(&pool->d) + kPoolHeader;
  pool->d = {first, first + offered, nullptr, 0};
  pool->max = std::min(offered, kLargestSmall);
  pool->current = &pool->d;
  pool->large = nullptr;
  pool->cleanup = nullptr;
  pool->log = log;
  pool->safe = static_cast<uintptr_t>(safe);
  static_cast<void>(memory.release());  // the pool is its first block
  return pool;
}

void mem_destroy_pool(mem_pool* pool) {
  if (pool->safe != 0) pthread_mutex_destroy(&pool->mutex);
  for (const mem_pool_cleanup* entry = pool->cleanup; entry != nullptr; entry = entry->next) {
    if (entry->handler != nullptr) entry->handler(entry->data);
  }
  free_large_pieces(pool);
  for (mem_pool_data* block = &pool->d; block != nullptr;) free(std::exchange(block, block->next));
}

void mem_reset_pool(mem_pool* pool) {
  const PoolSection section(pool);
  free_large_pieces(pool);
  pool->large = nullptr;
  // Kept: a later block is rewound to behind a pool's header, not its own. `current` stays where it is.
  for (mem_pool_data* block = &pool->d; block != nullptr; block = block->next) {
    block->last = start_of(block) + kPoolHeader;
  }
}

void* mem_palloc(mem_pool* pool, size_t size) {
  return allocate<Aligned>(pool, size);
}

void* mem_pnalloc(mem_pool* pool, size_t size) {
  return allocate<Plain>(pool, size);
}

void* mem_pcalloc(mem_pool* pool, size_t size) {
  void* const memory = mem_palloc(pool, size);
  return memory != nullptr ? memset(memory, 0, size) : nullptr;
}

char* mem_pool_dup_str(mem_pool* pool, const char* text) {
  if (text == nullptr || *text == '\0') return nullptr;
  const size_t size = strlen(text) + 1;
  void* const copy = mem_palloc(pool, size);
  return copy != nullptr ? static_cast<char*>(memcpy(copy, text, size)) : nullptr;
}

void* mem_pool_dup_mem(mem_pool* pool, const void* memory, size_t length) {
  if (memory == nullptr || length == 0 || length == SIZE_MAX) return nullptr;
  void* const copy = mem_palloc(pool, length + 1);
  return copy != nullptr ? memcpy(copy, memory, length) : nullptr;
}
