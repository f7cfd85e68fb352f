/* zel.h: the whole interface of libzel.so.0, for plug-ins of the router. Link with -lzel.
 *
 * A plug-in is a program with an appid (a text of decimal digits) and a Unix user of its own. What it may
 * do is decided by the abilities that the router granted to its appid (perm.h); a call that needs an ability
 * checks it each time.
 *
 * Conventions of all headers; a call documents only what is its own.
 *  1. Texts are NUL-terminated. Sizes of buffers count bytes and include the NUL.
 *  2. A pointer must not be null unless the call says what null means.
 *  3. Results are int: 0 for success, -1 (or a code the call lists) for failure. Permission calls give codes
 *     of the 7000 range, download calls of the 8000 range.
 *  4. Records and output buffers belong to the caller. Text that a call hands out allocated says so; it is
 *     freed with zel_free or free. After a failure outputs hold what the call says of it, else nothing to
 *     rely on.
 *  5. Unless a call says otherwise it may be made by any thread. "Takes the global lock" means the one
 *     recursive lock of service.h: a call that takes it waits while another thread is in such a call or a
 *     handler runs.
 *  6. Handlers and callbacks run on the library's service thread with the global lock held. They may call the
 *     library, and should return soon: nothing else is received meanwhile.
 *  7. The library leaves the plug-in's signal handling alone and opens its descriptors close-on-exec, but for
 *     that of zel_store_pid. Its
 *     messages, of failures and of start-up's steps, go to standard error and syslog (zel_log in service.h);
 *     tags such as "[ZEL]", "[ZEL_SVC]" and "[ZE]" tell the family. Most end with an empty line.
 */
#ifndef ZEL_ZEL_H
#define ZEL_ZEL_H

#include <zel/cloud.h>
#include <zel/device.h>
#include <zel/download.h>
#include <zel/event.h>
#include <zel/file.h>
#include <zel/http.h>
#include <zel/http_raw.h>
#include <zel/mempool.h>
#include <zel/perm.h>
#include <zel/router.h>
#include <zel/service.h>
#include <zel/util.h>
#include <zel/version.h>

#endif
