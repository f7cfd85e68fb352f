/* mempool.h: the memory pool.
 * Conventions common to all headers are in zel.h.
 *
 * A pool hands out many small pieces of memory and takes them all back at once:
 *
 *     mem_pool* pool = mem_create_pool(4096, NULL, 0);
 *     char* copy = pool != NULL ? mem_pool_dup_str(pool, text) : NULL;
 *     ...
 *     mem_destroy_pool(pool);  // frees every piece, closes what was registered to be closed
 *
 * Small pieces are cut from blocks, all of the first one's size; requests above the pool's `max` get memory of
 * their own from the system, which the pool remembers. Clean-ups registered with a pool run when it is
 * destroyed.
 *
 * What holds for every call here:
 *  - Memory from a pool is the caller's until the pool is reset or destroyed (or, for large pieces, mem_pfree);
 *    it is never handed to free.
 *  - When memory is short the result is null, the pool is whole and can be used further. Nothing is logged.
 *  - Sizes are bytes. A request of 0 bytes gets a pointer that must not be read or written through.
 *  - Threads: a pool is for one thread at a time. With the `safe` flag, the calls whose names end in _safe and
 *    mem_reset_pool take the pool's own lock, which a child forked meanwhile may find held; as long as several
 *    threads can reach a pool they may use no others on it. Clean-ups run without that lock. */
#ifndef ZEL_MEMPOOL_H
#define ZEL_MEMPOOL_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

/* ---- Records: to be read, and changed only where it says so --------------------------------------------- */

/* At the start of every block. */
typedef struct mem_pool_data {
  char* last; /* first free byte; may be moved within the block, back to give small pieces up together */
  char* end;  /* one past the block's last byte */
  struct mem_pool_data* next;
  unsigned int failed; /* how often a block was added after this one was searched; passed over from 6 on */
} mem_pool_data;

/* One large piece; the record itself is a small piece. */
typedef struct mem_pool_large {
  struct mem_pool_large* next;
  void* alloc; /* null once freed */
} mem_pool_large;

/* What a clean-up does with its data. The result is ignored. */
typedef int (*mem_pool_cleanup_handler)(void* data);

/* One clean-up. The caller sets `handler` and fills what `data` points to. */
typedef struct mem_pool_cleanup {
  mem_pool_cleanup_handler handler; /* null: nothing is done */
  void* data;
  struct mem_pool_cleanup* next;
} mem_pool_cleanup;

/* The data of mem_pool_cleanup_file and mem_pool_delete_file. */
typedef struct mem_pool_cleanup_file_t {
  int fd;
  char* name; /* for mem_pool_delete_file only */
} mem_pool_cleanup_file_t;

/* The pool, at the start of its first block; 64 bytes on the router. */
typedef struct mem_pool {
  mem_pool_data d;
  size_t max;                /* largest small request */
  mem_pool_data* current;    /* where the search for room begins; may be set to any of the pool's blocks */
  mem_pool_large* large;     /* newest first */
  mem_pool_cleanup* cleanup; /* newest first; may be set to null, which forgets them all */
  void* log;
  pthread_mutex_t mutex; /* made and used only when `safe` is not 0 */
  uintptr_t safe;        /* the flag, as it was given */
} mem_pool;

/* ---- The pool ------------------------------------------------------------------------------------------- */

/* Makes a pool.
 * size  of a block, with 64 bytes for the pool itself: the first block offers size - 64 bytes, each later one
 *       size - 16. `max` becomes size - 64, at most 4095. On the router the system is asked for `size` bytes a
 *       block; on 64-bit machines for more, which makes the numbers above the same.
 * log   kept in the pool, otherwise unused; may be null.
 * safe  not 0: the pool gets a lock, see Threads above.
 * Returns the pool, which mem_destroy_pool ends; null when size is less than 64 or memory is short. */
ZEL_API mem_pool* mem_create_pool(size_t size, void* log, int safe);

/* Runs the clean-ups that have a handler, newest first, then frees all memory of the pool and the pool itself.
 * A handler may still read the pool's memory and take more from it, but only by the calls without a lock: the
 * lock is gone by then, so none that ends in _safe, and not mem_reset_pool. A clean-up that it adds does not run.
 * Threads  no other may be using the pool, and none may after it. */
ZEL_API void mem_destroy_pool(mem_pool* pool);

/* Frees the large pieces and makes the blocks' memory free for use again; no block goes back to the system.
 *  - In blocks other than the first, 48 bytes at the start are not used again: such a block then offers
 *    size - 64 bytes.
 *  - Blocks that the search for room had left behind stay left behind.
 *  - Clean-ups do not run and stay registered, although their memory is handed out again, or, where it was a
 *    large piece, freed: data above `max`, and on the router in pools of less than 76 bytes the clean-ups too.
 *    A pool that is used or destroyed after that would call what is no handler any more. So first set the pool's
 *    `cleanup` to null, which forgets them all. (A handler set to null is enough for a pool of 128 bytes or more
 *    that is only destroyed after the reset.)
 * Threads  takes the pool's lock when it has one. */
ZEL_API void mem_reset_pool(mem_pool* pool);

/* ---- Memory from a pool --------------------------------------------------------------------------------- */

/* `size` bytes at an address that is a multiple of 16 (of 8 on the router for a large piece). From the first
 * block that has room, beginning at `current`; above the pool's `max`, a large piece.
 * Returns the memory, not cleared, or null. */
ZEL_API void* mem_palloc(mem_pool* pool, size_t size);

/* The same at any address: small pieces follow each other without a gap. For texts. */
ZEL_API void* mem_pnalloc(mem_pool* pool, size_t size);

/* mem_palloc, and the memory is cleared. */
ZEL_API void* mem_pcalloc(mem_pool* pool, size_t size);

/* A large piece, whatever its size, at an address that is a multiple of `alignment`, a power of 2.
 * Returns the memory, not cleared, or null. */
ZEL_API void* mem_pmemalign(mem_pool* pool, size_t size, size_t alignment);

/* Frees a large piece. Small pieces cannot be freed on their own.
 * Returns 0, or -1 with nothing done when `memory` is no large piece of this pool. (Null counts as one that was
 * freed before, if there is any.) */
ZEL_API int mem_pfree(mem_pool* pool, void* memory);

/* A copy of a text.
 * Returns the copy; null when text is null or empty, or memory is short. */
ZEL_API char* mem_pool_dup_str(mem_pool* pool, const char* text);

/* A copy of `length` bytes, with room for one more after them, which is left as it was (no NUL is written).
 * Returns the copy; null when memory is null or length 0, or memory is short. */
ZEL_API void* mem_pool_dup_mem(mem_pool* pool, const void* memory, size_t length);

/* ---- Clean-ups ------------------------------------------------------------------------------------------ */

/* Registers a clean-up, which does nothing until the caller sets its handler:
 *
 *     mem_pool_cleanup* entry = mem_pool_cleanup_add(pool, sizeof(mem_pool_cleanup_file_t));
 *     if (entry != NULL) {
 *       ((mem_pool_cleanup_file_t*)entry->data)->fd = fd;
 *       entry->handler = mem_pool_cleanup_file;
 *     }
 *
 * size  of its data, which is allocated from the pool and not cleared; 0: `data` is null, and the caller's.
 * Returns the clean-up, part of the pool, or null. */
ZEL_API mem_pool_cleanup* mem_pool_cleanup_add(mem_pool* pool, size_t size);

/* Closes a file before its pool ends: runs the newest clean-up with the handler mem_pool_cleanup_file and this
 * descriptor, and sets its handler to null.
 * Returns the result of close; -1 when there is no such clean-up. */
ZEL_API int mem_pool_run_cleanup_file(mem_pool* pool, int fd);

/* Handlers. `data` is a mem_pool_cleanup_file_t. The first closes `fd`; the second removes the file `name`, if it
 * is there, and then closes `fd`.
 * Returns the result of close; -1 for null. */
ZEL_API int mem_pool_cleanup_file(void* data);
ZEL_API int mem_pool_delete_file(void* data);

/* ---- With the pool's lock ------------------------------------------------------------------------------- */

/* As the calls without _safe, while holding the pool's lock if it has one. */
ZEL_API void* mem_palloc_safe(mem_pool* pool, size_t size);
ZEL_API void* mem_pnalloc_safe(mem_pool* pool, size_t size);
ZEL_API void* mem_pcalloc_safe(mem_pool* pool, size_t size);
ZEL_API void* mem_pmemalign_safe(mem_pool* pool, size_t size, size_t alignment);
ZEL_API int mem_pfree_safe(mem_pool* pool, void* memory);
ZEL_API mem_pool_cleanup* mem_pool_cleanup_add_safe(mem_pool* pool, size_t size);

/* ---- Memory from the system ----------------------------------------------------------------------------- */

/* `size` bytes from the system, to be freed with free. The second clears them.
 * log  ignored; may be null.
 * Returns the memory, or null. */
ZEL_API void* mem_alloc(size_t size, void* log);
ZEL_API void* mem_calloc(size_t size, void* log);

ZEL_EXTERN_C_END

#endif
