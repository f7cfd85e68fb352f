#pragma once

#include <memory>

#include <zel/mempool.h>

struct DestroyPool {
  void operator()(mem_pool* pool) const { mem_destroy_pool(pool); }
};
using Pool = std::unique_ptr<mem_pool, DestroyPool>;

// So small that most of what is allocated has memory of its own, whose bounds the address sanitizer knows.
inline Pool new_pool() {
  return Pool(mem_create_pool(80, nullptr, 0));
}
