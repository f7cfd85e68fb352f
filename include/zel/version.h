/* version.h: the version of libzel that these headers belong to, and what its numbers promise.
 *
 *     #if ZEL_VERSION >= ZEL_VERSION_NUMBER(0, 2, 0)
 *
 * SONAME. The library's file name on the router ends in the major version: libzel.so.0. A plug-in keeps running
 * with every later library of that name.
 *  - Major: something that a built plug-in relies on has changed or gone: a call, a record's size, a member's
 *    offset, an enumerator's value. Plug-ins have to be built anew.
 *  - Minor: something is new. Plug-ins that use it need this version, others notice nothing.
 *  - Patch: nothing but mended faults.
 * The build reads the version here and nowhere else. What built plug-ins rely on is written down for each platform
 * in src/abi/, and a test compares.
 */
#ifndef ZEL_VERSION_H
#define ZEL_VERSION_H

/* The numbers, and as one to compare. */
#define ZEL_VERSION_MAJOR 0
#define ZEL_VERSION_MINOR 1
#define ZEL_VERSION_PATCH 0
#define ZEL_VERSION_NUMBER(major, minor, patch) ((major)*65536 + (minor)*256 + (patch))
#define ZEL_VERSION ZEL_VERSION_NUMBER(ZEL_VERSION_MAJOR, ZEL_VERSION_MINOR, ZEL_VERSION_PATCH)

/* The same as text: "0.1.0". */
#define ZEL_VERSION_TEXT                \
  ZEL_VERSION_QUOTED(ZEL_VERSION_MAJOR) \
  "." ZEL_VERSION_QUOTED(ZEL_VERSION_MINOR) "." ZEL_VERSION_QUOTED(ZEL_VERSION_PATCH)
/* Its steps. */
#define ZEL_VERSION_QUOTED(number) ZEL_VERSION_QUOTE(number)
#define ZEL_VERSION_QUOTE(number) #number

#endif
