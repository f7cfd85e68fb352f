/* mempool.h: the memory pool.
 * Conventions common to all headers are in zel.h.
 *
 * This version of the library has no calls of this family yet; the header is here so that programs may
 * include zel.h or the family's own header from the start. */
#ifndef ZEL_MEMPOOL_H
#define ZEL_MEMPOOL_H

#include <zel/export.h>

#endif
