/* download.h: download tasks of the router's download daemon.
 * Conventions common to all headers are in zel.h.
 *
 * This version of the library has no calls of this family yet; the header is here so that programs may
 * include zel.h or the family's own header from the start. */
#ifndef ZEL_DOWNLOAD_H
#define ZEL_DOWNLOAD_H

#include <zel/export.h>

#endif
