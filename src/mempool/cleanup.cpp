// What a pool does for its user when it ends.
#include <unistd.h>
#include <zel/mempool.h>

#include "base/uncancelled.h"

mem_pool_cleanup* mem_pool_cleanup_add(mem_pool* pool, size_t size) {
  auto* const entry = static_cast<mem_pool_cleanup*>(mem_palloc(pool, sizeof(mem_pool_cleanup)));
  if (entry == nullptr) return nullptr;
  void* const data = size != 0 ? mem_palloc(pool, size) : nullptr;
  if (size != 0 && data == nullptr) return nullptr;
  *entry = {nullptr, data, pool->cleanup};
  pool->cleanup = entry;
  return entry;
}

int mem_pool_run_cleanup_file(mem_pool* pool, int fd) {
  for (mem_pool_cleanup* entry = pool->cleanup; entry != nullptr; entry = entry->next) {
    const auto* const file = static_cast<const mem_pool_cleanup_file_t*>(entry->data);
    if (entry->handler != mem_pool_cleanup_file || file == nullptr || file->fd != fd) continue;
    entry->handler = nullptr;
    return mem_pool_cleanup_file(entry->data);
  }
  return -1;
}

int mem_pool_cleanup_file(void* data) {
  if (data == nullptr) return -1;
  const zel::Uncancelled uncancelled;  // What is left of its pool would be lost.
  return close(static_cast<const mem_pool_cleanup_file_t*>(data)->fd);
}

int mem_pool_delete_file(void* data) {
  if (data == nullptr) return -1;
  const char* const name = static_cast<const mem_pool_cleanup_file_t*>(data)->name;
  if (name != nullptr) unlink(name);
  return mem_pool_cleanup_file(data);
}
