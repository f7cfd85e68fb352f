#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <random>
#include <thread>

#include "mempool/blocks.h"
#include "mempool/fill.h"
#include "support/pool.h"

namespace {

using namespace zel::mempool;

Pool make_pool(size_t size, int safe = 0) {
  return Pool(mem_create_pool(size, nullptr, safe));
}

}  // namespace

TEST(MemPool, OffersTheSameNumbersOnEveryMachine) {
  const struct {
    size_t size, max, first;
  } rows[] = {{65, 1, 1},         {100, 36, 36},      {4096, 4032, 4032},
              {4159, 4095, 4095}, {4160, 4095, 4096}, {8192, 4095, 8128}};
  for (const auto& row : rows) {
    const Pool pool = make_pool(row.size);
    EXPECT_TRUE(pool->max == row.max && room(pool->d) == row.first) << row.size;
    add_block(pool.get());
    EXPECT_EQ(room(*pool->d.next), row.first + 47) << "its own header is 48 bytes smaller";
    mem_reset_pool(pool.get());
    EXPECT_TRUE(room(pool->d) == row.first && room(*pool->d.next) == row.first) << row.size;
  }
  for (const size_t size : {size_t{63}, SIZE_MAX, SIZE_MAX - 64}) EXPECT_EQ(make_pool(size), nullptr) << size;
}

TEST(MemPool, CutsAlignedPiecesApartAndPlainOnesAdjacent) {
  const Pool pool = make_pool(100);
  char* const first = static_cast<char*>(mem_palloc(pool.get(), 1));
  EXPECT_EQ(reinterpret_cast<uintptr_t>(first) % 16, 0U);
  EXPECT_EQ(mem_palloc(pool.get(), 1), first + 16);
  EXPECT_EQ(mem_pnalloc(pool.get(), 1), first + 17);
  EXPECT_EQ(mem_pnalloc(pool.get(), 17), first + 18);
  EXPECT_EQ(pool->d.next, nullptr);
  mem_palloc(pool.get(), 0);
  EXPECT_NE(pool->d.next, nullptr) << "the next multiple of 16 lies behind the block's end";
  EXPECT_EQ(mem_pnalloc(pool.get(), 1), first + 35) << "the search still begins at the first block";
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

TEST(MemPool, LeavesABlockBehindAtTheSeventhOneThatFollows) {
  const Pool pool = make_pool(128);
  for (unsigned added = 1; added <= 8; ++added) {
    add_block(pool.get());
    EXPECT_EQ(pool->d.failed, added < 7 ? added - 1 : 6);
    EXPECT_EQ(pool->current == &pool->d, added < 7);
  }
  EXPECT_EQ(pool->current, pool->d.next->next);
  mem_reset_pool(pool.get());
  EXPECT_EQ(pool->current, pool->d.next->next);
}

TEST(MemPool, FreesLargePiecesAndUsesTheirRecordsAgain) {
  const Pool pool = make_pool(4096);
  EXPECT_EQ(mem_pfree(pool.get(), mem_palloc(pool.get(), pool->max)), -1) << "not large";
  void* pieces[7];
  for (void*& piece : pieces) piece = mem_palloc(pool.get(), 4033);
  const mem_pool_large* const newest = pool->large;
  EXPECT_EQ(newest->alloc, pieces[6]);

  EXPECT_EQ(mem_pfree(pool.get(), pieces[2]), 0);
  EXPECT_EQ(mem_pfree(pool.get(), pieces[2]), -1);
  void* const fifth = mem_pcalloc(pool.get(), 5000);
  EXPECT_TRUE(pool->large == newest && newest->next->next->next->next->alloc == fifth);
  EXPECT_EQ(mem_pfree(pool.get(), pieces[1]), 0);
  void* const aligned = mem_pmemalign(pool.get(), 10, 256);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(aligned) % 256, 0U);
  EXPECT_TRUE(pool->large->alloc == aligned && pool->large->next == newest) << "the sixth is not looked at";

  const Pool tiny = make_pool(64);
  EXPECT_NE(mem_palloc(tiny.get(), 1), nullptr) << "even the record is above max here";
}

TEST(MemPool, CopiesTextsAndBytesButNothingEmpty) {
  const Pool pool = make_pool(4096);
  EXPECT_STREQ(mem_pool_dup_str(pool.get(), "text"), "text");
  EXPECT_EQ(memcmp(mem_pool_dup_mem(pool.get(), "a\0b", 3), "a\0b", 3), 0);
  const char* const before = pool->d.last;
  EXPECT_TRUE(mem_pool_dup_str(pool.get(), "") == nullptr &&
              mem_pool_dup_str(pool.get(), nullptr) == nullptr);
  EXPECT_TRUE(mem_pool_dup_mem(pool.get(), "a", 0) == nullptr &&
              mem_pool_dup_mem(pool.get(), nullptr, 1) == nullptr);
  EXPECT_EQ(mem_pool_dup_mem(pool.get(), "a", SIZE_MAX), nullptr);
  EXPECT_EQ(pool->d.last, before);
}

TEST(MemPool, RunsCleanUpsNewestFirstAtItsEndOnly) {
  static std::string ran;
  Pool pool = make_pool(4096);
  for (const char name : {'a', 'b', 'c', 'd'}) {
    mem_pool_cleanup* const entry = mem_pool_cleanup_add(pool.get(), 1);
    *static_cast<char*>(entry->data) = name;
    if (name != 'c') entry->handler = [](void* data) { return ran += *static_cast<char*>(data), 0; };
  }
  EXPECT_EQ(mem_pool_cleanup_add(pool.get(), 0)->data, nullptr);
  mem_reset_pool(pool.get());
  EXPECT_EQ(ran, "");
  pool.reset();
  EXPECT_EQ(ran, "dba");
}

TEST(MemPool, ClosesAndRemovesFiles) {
  Pool pool = make_pool(4096);
  char names[2][32];
  int fds[2];
  for (int i = 0; i < 2; ++i) {
    fds[i] = mkostemp(strcpy(names[i], "/tmp/mempool-XXXXXX"), O_CLOEXEC);
    mem_pool_cleanup* const entry = mem_pool_cleanup_add(pool.get(), sizeof(mem_pool_cleanup_file_t));
    *static_cast<mem_pool_cleanup_file_t*>(entry->data) = {fds[i], names[i]};
    entry->handler = i == 0 ? mem_pool_cleanup_file : mem_pool_delete_file;
  }
  mem_pool_cleanup_add(pool.get(), 0)->handler = mem_pool_cleanup_file;  // without data: passed over
  EXPECT_EQ(mem_pool_run_cleanup_file(pool.get(), fds[1]), -1) << "only the closing kind is run";
  EXPECT_EQ(mem_pool_run_cleanup_file(pool.get(), fds[0]), 0);
  EXPECT_EQ(mem_pool_run_cleanup_file(pool.get(), fds[0]), -1) << "it was disabled";
  EXPECT_TRUE(fcntl(fds[0], F_GETFD) == -1 && fcntl(fds[1], F_GETFD) != -1);
  pool.reset();
  EXPECT_EQ(fcntl(fds[1], F_GETFD), -1);
  EXPECT_TRUE(unlink(names[0]) == 0 && unlink(names[1]) == -1);
}

TEST(MemPool, ServesThreadsThroughItsLock) {
  const Pool pool = make_pool(256, 1);
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
