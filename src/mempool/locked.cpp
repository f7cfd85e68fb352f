// The calls that take the pool's lock.
#include "mempool/locked.h"

namespace {

using zel::mempool::PoolSection;

// Makes one of the plain calls.
template <auto Call, class... Argument>
auto call_locked(mem_pool* pool, Argument... arguments) {
  const PoolSection section(pool);
  return Call(pool, arguments...);
}

}  // namespace

void* mem_palloc_safe(mem_pool* pool, size_t size) {
  return call_locked<mem_palloc>(pool, size);
}

void* mem_pnalloc_safe(mem_pool* pool, size_t size) {
  return call_locked<mem_pnalloc>(pool, size);
}

void* mem_pcalloc_safe(mem_pool* pool, size_t size) {
  return call_locked<mem_pcalloc>(pool, size);
}

void* mem_pmemalign_safe(mem_pool* pool, size_t size, size_t alignment) {
  return call_locked<mem_pmemalign>(pool, size, alignment);
}

int mem_pfree_safe(mem_pool* pool, void* memory) {
  return call_locked<mem_pfree>(pool, memory);
}

mem_pool_cleanup* mem_pool_cleanup_add_safe(mem_pool* pool, size_t size) {
  return call_locked<mem_pool_cleanup_add>(pool, size);
}
