#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstring>
#include <random>
#include <thread>
#include <tuple>

#include "mempool/blocks.h"
#include "support/pool.h"

// The linker's names (--wrap) for the functions that the pool calls and for the real ones. Memory comes dirty.
static int until_failure = 0;  // 1: the next allocation fails; 0: none does
static std::atomic<int> frees = 0;
static size_t last_aligned = 0;  // bytes
extern "C" {
void* __real_malloc(size_t size);
void* __real_memalign(size_t alignment, size_t size);
void __real_free(void* memory);

static void* hand_out(void* memory, size_t size) {
  if (until_failure == 0 || --until_failure != 0) return memset(memory, 0xA5, size);
  __real_free(memory);
  return nullptr;
}
void* __wrap_malloc(size_t size) {
  return hand_out(__real_malloc(size), size);
}
void* __wrap_memalign(size_t alignment, size_t size) {
  last_aligned = size;
  return hand_out(__real_memalign(alignment, size), size);
}
void __wrap_free(void* memory) {
  ++frees;
  __real_free(memory);
}
}

namespace {

using namespace zel::mempool;

Pool make_pool(size_t size, int safe = 0) {
  return Pool(mem_create_pool(size, nullptr, safe));
}

size_t room(const mem_pool_data& block) {
  return static_cast<size_t>(block.end - block.last);
}

// Takes all that is left of the pool's blocks.
void fill(mem_pool* pool) {
  for (const mem_pool_data* block = pool->current; block != nullptr; block = block->next) {
    while (room(*block) != 0) mem_pnalloc(pool, std::min(room(*block), pool->max));
  }
}

// The new block's first byte is taken.
void add_block(mem_pool* pool) {
  fill(pool);
  mem_pnalloc(pool, 1);
}

}  // namespace

TEST(MemPool, OffersTheSameNumbersOnEveryMachine) {
  const struct {
    size_t size, max, first;
  } rows[] = {{65, 1, 1}, {4096, 4032, 4032}, {4159, 4095, 4095}, {4160, 4095, 4096}, {8192, 4095, 8128}};
  for (const auto& row : rows) {
    const Pool pool = make_pool(row.size);
    EXPECT_EQ(last_aligned, row.size + kPoolHeader - kCountedHeader)
        << "not a byte more than the record says";
    EXPECT_EQ(pool->max, row.max) << row.size;
    EXPECT_EQ(room(pool->d), row.first) << row.size;
    add_block(pool.get());
    EXPECT_EQ(room(*pool->d.next), row.first + 47) << "its own header is 48 bytes smaller";
    mem_reset_pool(pool.get());
    for (const auto* block : {&pool->d, pool->d.next}) EXPECT_EQ(room(*block), row.first) << row.size;
  }
  for (const size_t size : {size_t{63}, SIZE_MAX, SIZE_MAX - 64}) EXPECT_EQ(make_pool(size), nullptr) << size;
  EXPECT_NE(mem_palloc(make_pool(64).get(), 1), nullptr) << "even a large piece's record is above max here";
}

TEST(MemPool, AlwaysTakesTheFirstBlockWithRoom) {
  const Pool pool = make_pool(256);
  std::minstd_rand random(1);
  for (int step = 0; step < 20000; ++step) {
    const size_t size = (random() >> 8) % (step % 8 == 0 ? 193 : 40);
    const uintptr_t alignment = (random() >> 8) % 2 == 0 ? 16 : 1;
    uintptr_t expected = 0;
    const mem_pool_data* last = nullptr;
    for (const mem_pool_data* block = pool->current; block != nullptr && expected == 0; block = block->next) {
      const uintptr_t at = (address(block->last) + alignment - 1) / alignment * alignment;
      if (at + size <= address(block->end)) expected = at;
      last = block;
    }
    const void* const piece = alignment == 1 ? mem_pnalloc(pool.get(), size) : mem_palloc(pool.get(), size);
    // None had room: one was added.
    if (expected == 0) expected = address(last->next) + kLaterHeader;
    ASSERT_EQ(address(piece), expected) << step;
    if (step % 1000 == 999) mem_reset_pool(pool.get());
  }
}

TEST(MemPool, LeavesABlockBehindAtTheSixthOneThatFollows) {
  const Pool pool = make_pool(128);
  for (unsigned added = 1; added <= 8; ++added) {
    add_block(pool.get());
    EXPECT_EQ(pool->d.failed, std::min(added, 6U)) << "the last block counts as the others do";
    EXPECT_EQ(pool->current == &pool->d, added < 6) << added;
  }
  EXPECT_EQ(pool->d.next->failed, 6U);
  mem_reset_pool(pool.get());
  EXPECT_EQ(pool->current, pool->d.next->next->next);
}

TEST(MemPool, GoesWhereItsRecordPoints) {
  const Pool pool = make_pool(256);
  mem_pool* const p = pool.get();
  void* const first = mem_palloc(p, 100);
  add_block(p);
  add_block(p);
  mem_pool_data* const second = p->d.next;
  mem_pool_data* const last = second->next;
  p->d.last = static_cast<char*>(first);
  EXPECT_EQ(mem_palloc(p, 100), first) << "given up";
  p->current = last;
  EXPECT_EQ(mem_pnalloc(p, 1), reinterpret_cast<char*>(last) + kLaterHeader + 1)
      << "the first has room, but is not asked";
  last->failed = 5;
  fill(p);
  const void* const in_new_block = mem_pnalloc(p, 1);
  EXPECT_EQ(in_new_block, reinterpret_cast<char*>(last->next) + kLaterHeader);
  EXPECT_EQ(p->current, last->next) << "the last one too is left behind";
  EXPECT_EQ(second->failed, 1U) << "not on the way";
}

TEST(MemPool, FreesLargePiecesAndUsesTheirRecordsAgain) {
  const Pool pool = make_pool(4096);
  EXPECT_EQ(mem_pfree(pool.get(), mem_palloc(pool.get(), pool->max)), -1) << "not large";
  void* pieces[7];
  for (void*& piece : pieces) piece = mem_palloc(pool.get(), 4033);
  const mem_pool_large* const newest = pool->large;
  EXPECT_EQ(mem_pfree(pool.get(), pieces[2]), 0);
  EXPECT_EQ(mem_pfree(pool.get(), pieces[2]), -1);
  void* const fifth = mem_palloc(pool.get(), 5000);
  EXPECT_EQ(pool->large, newest);
  EXPECT_EQ(newest->next->next->next->next->alloc, fifth);
  mem_pfree(pool.get(), pieces[1]);
  mem_palloc(pool.get(), 5000);
  EXPECT_EQ(pool->large->next, newest) << "the sixth is not looked at";
  mem_pfree(pool.get(), pieces[6]);
  void* const aligned = mem_pmemalign(pool.get(), 10, 256);
  EXPECT_EQ(address(aligned) % 256, 0U);
  EXPECT_EQ(pool->large->alloc, aligned);
  EXPECT_EQ(pool->large->next->next, newest) << "always a new record";
}

TEST(MemPool, CopiesTextsAndBytesButNothingEmptyAndClearsOnRequest) {
  const Pool pool = make_pool(4096);
  mem_pool* const p = pool.get();
  EXPECT_STREQ(mem_pool_dup_str(p, "text"), "text");
  void* const copy = mem_pool_dup_mem(p, "a\0b", 3);
  EXPECT_EQ(memcmp(copy, "a\0b", 3), 0);
  EXPECT_EQ(mem_pnalloc(p, 1), static_cast<char*>(copy) + 4) << "one byte more than was copied";
  const char* const before = pool->d.last;
  for (const char* text : {"", static_cast<const char*>(nullptr)})
    EXPECT_EQ(mem_pool_dup_str(p, text), nullptr);
  for (const auto& [bytes, size] : {std::pair("a", size_t{0}), {nullptr, 1}, {"a", SIZE_MAX}})
    EXPECT_EQ(mem_pool_dup_mem(p, bytes, size), nullptr) << size;
  EXPECT_EQ(pool->d.last, before);

  const std::string zeros(5000, '\0');
  const std::unique_ptr<void, decltype(&free)> own(mem_calloc(100, nullptr), free);
  EXPECT_EQ(memcmp(own.get(), zeros.data(), 100), 0);
  for (const size_t size : {100, 5000})
    EXPECT_EQ(memcmp(mem_pcalloc(p, size), zeros.data(), size), 0) << size;
}

TEST(MemPool, FreesLargePiecesAtAResetAndElseBehindTheCleanUps) {
  for (const bool reset : {true, false}) {
    static std::string ran;  // Who, and what was free by then.
    ran.clear();
    Pool pool = make_pool(4096);
    for (const char name : {'a', 'b', 'c'}) {
      mem_pool_cleanup* const entry = mem_pool_cleanup_add(pool.get(), 1);
      *static_cast<char*>(entry->data) = name;
      const auto run = [](void* data) { return ran += *static_cast<char*>(data) + std::to_string(frees), 0; };
      if (name != 'b') entry->handler = run;
      mem_palloc(pool.get(), 5000);
    }
    frees = 0;
    if (reset) mem_reset_pool(pool.get());
    EXPECT_EQ(frees, reset ? 3 : 0);
    EXPECT_EQ(ran, "");
    EXPECT_EQ(pool->large == nullptr, reset);
    pool.reset();
    EXPECT_EQ(ran, reset ? "c3a3" : "c0a0");
    EXPECT_EQ(frees, 4);
  }
}

TEST(MemPool, ClosesAndRemovesFiles) {
  Pool pool = make_pool(4096);
  char names[3][32];
  int fds[3];
  for (int i = 0; i < 3; ++i) {
    fds[i] = mkostemp(strcpy(names[i], "/tmp/mempool-XXXXXX"), O_CLOEXEC);
    mem_pool_cleanup* const entry = mem_pool_cleanup_add(pool.get(), sizeof(mem_pool_cleanup_file_t));
    *static_cast<mem_pool_cleanup_file_t*>(entry->data) = {fds[i], names[i]};
    entry->handler = i == 0 ? mem_pool_cleanup_file : mem_pool_delete_file;
  }
  mem_pool_cleanup_add(pool.get(), 0)->handler = mem_pool_cleanup_file;  // without data: passed over
  for (const auto& [fd, result] : {std::pair(fds[1], -1), {fds[0], 0}, {fds[0], -1}})
    EXPECT_EQ(mem_pool_run_cleanup_file(pool.get(), fd), result) << "only the closing kind, and only once";
  unlink(names[2]);
  pool.reset();
  for (const int fd : fds) EXPECT_EQ(fcntl(fd, F_GETFD), -1) << "also where there was no file to remove";
  EXPECT_EQ(unlink(names[0]), 0) << "was closed only";
  EXPECT_EQ(unlink(names[1]), -1) << "was removed";
}

TEST(MemPool, ServesThreadsThroughItsLock) {
  const Pool pool = make_pool(256, 5);
  EXPECT_EQ(pool->safe, 5U);
  const auto use = [&pool](int id) {
    for (size_t size = 0; size < 500; ++size) {
      mem_pool_cleanup_add_safe(pool.get(), 8);
      memset(mem_pcalloc_safe(pool.get(), size), id, size);
      memset(mem_palloc_safe(pool.get(), 9), id, 9);
      memset(mem_pnalloc_safe(pool.get(), 9), id, 9);
      EXPECT_EQ(mem_pfree_safe(pool.get(), mem_pmemalign_safe(pool.get(), 100, 32)), 0);
    }
  };
  std::thread other(use, 1);
  use(2);
  other.join();
}

TEST(MemPool, StaysWholeAtEveryAllocationThatFails) {
  static const struct {
    const char* call;
    int allocations;  // that the call makes in a pool without room
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
  until_failure = 1;
  EXPECT_EQ(mem_create_pool(128, nullptr, 1), nullptr);
  for (const auto& row : kCalls) {
    const Pool pool = make_pool(128);
    for (int nth = 1; nth <= row.allocations + 1; ++nth) {
      fill(pool.get());
      const auto before = std::tuple(pool->large, pool->cleanup);
      until_failure = nth;
      const bool fails = nth <= row.allocations;
      EXPECT_EQ(row.make(pool.get()) == nullptr, fails) << row.call << ", allocation " << nth;
      EXPECT_EQ(std::exchange(until_failure, 0), fails ? 0 : 1) << row.call << " makes another number";
      EXPECT_TRUE(!fails || std::tuple(pool->large, pool->cleanup) == before) << row.call << " " << nth;
    }
  }
}
