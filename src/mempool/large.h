// large.h: memory of its own for a request that no block serves.
#pragma once

#include <zel/mempool.h>

#include <cstddef>

#include "base/handles.h"

namespace zel::mempool {

[[nodiscard]] void* allocate_large(mem_pool* pool, std::size_t size) noexcept;

// Makes memory from the system allocator a large piece of the pool. Null, with the memory freed, when there is
// none to remember it with.
[[nodiscard]] void* adopt_large(mem_pool* pool, Memory<void> memory) noexcept;

void free_large_pieces(mem_pool* pool) noexcept;

}  // namespace zel::mempool
