#include "mempool/blocks.h"

#include <malloc.h>

namespace {

constexpr unsigned kFailuresBeforeSkipped = 5;

void append(mem_pool* pool, mem_pool_data* added) {
  mem_pool_data* last = &pool->d;
  mem_pool_data* current = pool->current;
  for (mem_pool_data* block = current; block != nullptr; block = block->next) {
    if (block->failed++ >= kFailuresBeforeSkipped) current = block->next;
    last = block;
  }
  last->next = added;
  pool->current = current != nullptr ? current : added;
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

}  // namespace zel::mempool
