#pragma once

#include <zel/mempool.h>

#include <algorithm>

inline size_t room(const mem_pool_data& block) {
  return static_cast<size_t>(block.end - block.last);
}

// Takes all that is left of the pool's blocks.
inline void fill(mem_pool* pool) {
  for (const mem_pool_data* block = pool->current; block != nullptr; block = block->next) {
    while (room(*block) != 0) mem_pnalloc(pool, std::min(room(*block), pool->max));
  }
}

// The new block's first byte is taken.
inline void add_block(mem_pool* pool) {
  fill(pool);
  mem_pnalloc(pool, 1);
}
