// large.h: memory of its own for a request that no block serves.
#ifndef ZEL_SRC_MEMPOOL_LARGE_H
#define ZEL_SRC_MEMPOOL_LARGE_H

#include <zel/mempool.h>

#include <cstddef>

namespace zel::mempool {

void* allocate_large(mem_pool* pool, std::size_t size) noexcept;
void free_large_pieces(mem_pool* pool) noexcept;

}  // namespace zel::mempool

#endif
