// locked.h: the lock of a pool that was made with the `safe` flag.
#pragma once

#include <pthread.h>
#include <zel/mempool.h>

namespace zel::mempool {

class PoolSection {
 public:
  explicit PoolSection(mem_pool* pool) noexcept : pool_(pool) {
    if (pool_->safe != 0) pthread_mutex_lock(&pool_->mutex);
  }
  ~PoolSection() {
    if (pool_->safe != 0) pthread_mutex_unlock(&pool_->mutex);
  }
  PoolSection(const PoolSection&) = delete;
  PoolSection& operator=(const PoolSection&) = delete;

 private:
  mem_pool* pool_;
};

}  // namespace zel::mempool
