#include <gtest/gtest.h>

#include <tuple>

#include "mempool/fill.h"

// The linker's names (--wrap) for the allocation functions that the pool calls and for the real ones.
extern "C" {
void* __real_malloc(size_t size);
void* __real_calloc(size_t count, size_t size);
void* __real_memalign(size_t alignment, size_t size);

static int until_failure = 0;  // 1: the next allocation fails; 0: none does

static bool fails() {
  return until_failure != 0 && --until_failure == 0;
}
void* __wrap_malloc(size_t size) {
  return fails() ? nullptr : __real_malloc(size);
}
void* __wrap_calloc(size_t count, size_t size) {
  return fails() ? nullptr : __real_calloc(count, size);
}
void* __wrap_memalign(size_t alignment, size_t size) {
  return fails() ? nullptr : __real_memalign(alignment, size);
}
}

namespace {

const struct {
  const char* call;
  int allocations;  // that the call makes in a pool without room, each of which is made to fail
  void* (*make)(mem_pool* pool);
} kCalls[] = {
    {"small", 1, [](mem_pool* pool) { return mem_pcalloc(pool, 9); }},
    {"large", 2, [](mem_pool* pool) { return mem_pcalloc(pool, 999); }},
    {"aligned", 2, [](mem_pool* pool) { return mem_pmemalign(pool, 9, 64); }},
    {"clean-up", 1, [](mem_pool* pool) -> void* { return mem_pool_cleanup_add(pool, 0); }},
    {"clean-up, large", 2, [](mem_pool* pool) -> void* { return mem_pool_cleanup_add(pool, 999); }},
    {"dup_str", 1, [](mem_pool* pool) -> void* { return mem_pool_dup_str(pool, "text"); }},
    {"dup_mem", 1, [](mem_pool* pool) { return mem_pool_dup_mem(pool, "text", 4); }},
};

}  // namespace

TEST(MemPoolShortOfMemory, EveryAllocationThatFailsGivesNullAndLeavesThePoolWhole) {
  until_failure = 1;
  EXPECT_EQ(mem_create_pool(128, nullptr, 1), nullptr);
  for (const auto& row : kCalls) {
    mem_pool* const pool = mem_create_pool(128, nullptr, 0);
    const auto lists = [pool] { return std::tuple(pool->large, pool->cleanup); };
    for (int nth = 1; nth <= row.allocations; ++nth) {
      fill(pool);
      const auto before = lists();
      until_failure = nth;
      EXPECT_EQ(row.make(pool), nullptr) << row.call << ", allocation " << nth;
      EXPECT_TRUE(until_failure == 0 && lists() == before) << row.call << ", allocation " << nth;
    }
    fill(pool);
    until_failure = row.allocations + 1;
    EXPECT_NE(row.make(pool), nullptr) << row.call;
    EXPECT_EQ(until_failure, 1) << row.call << " allocates another number of times";
    until_failure = 0;
    mem_destroy_pool(pool);
  }
}
