/* service.h: start-up, the global lock, logging, and the small helpers every plug-in gets.
 * Conventions common to all headers are in zel.h. */
#ifndef ZEL_SERVICE_H
#define ZEL_SERVICE_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

struct ubus_context;

/* ---- Start-up ------------------------------------------------------------------------------------------ */

/* Brings the plug-in's bus side to life; call it once, early, before anything that uses the bus or the global
 * lock. Opens syslog (ident "ZEL"), creates the global lock, finds the caller's appid by its user id, and
 * then, as far as its abilities allow, creates the cloud object "zel_<appid>" (ability 2, see cloud.h) and
 * the event receiver (ability 5, see event.h). If either exists, one detached service thread serves them for
 * the life of the process.
 * Returns  0 on success, also without either ability, and on every call after the first, even if that failed;
 *          -1 if the appid is unknown, or the object or the receiver could not be made. The object
 *          comes first: if that fails (mostly because another process of the same appid has it), the receiver
 *          is not tried. What was set up before the failure stays.
 * Threads  a call made while another thread is in its first waits for that one, then returns 0; so not with
 *          the global lock held. The service thread takes none of the plug-in's signals.
 * Broker   when it ends, the object and the receiver wait for the next one, and are served again within a second of
 *          its start: same name, handler and callbacks. Logged once when it is gone (level 3) and once when it is
 *          back (level 6); sends fail meanwhile. A broker that is stopped, not ended, holds up start-up without limit;
 *          one that is stopped just when it takes the plug-in back holds up whatever takes the global lock.
 * Forks    a child has no service thread and receives nothing; it may send and ask. As long as it lives and runs the
 *          same program, the bus still lists its parent's object, even when the parent has ended: so daemon() comes
 *          before start-up. The library's locks are free in a child, whoever held them. */
ZEL_API int zel_service_init(void);

/* The same for development, without any permission query: with a name, creates the cloud object "zel_<name>"
 * and no event receiver; with null, the event receiver and no object. Shares the once-only rule with
 * zel_service_init. Returns 0, or -1 if what was asked for could not be made. */
ZEL_API int zel_service_init_dbg(const char* name);

/* Puts a bus connection's socket into the service thread's table: what it receives is then handled by
 * libubus on that thread, under the global lock. Start-up does this for the library's own connections. The
 * connection must live as long as the process, or be released through the library. The table holds 16
 * additions, ever; one for a descriptor already in it reuses that entry and still counts. So an object cannot be made
 * anew without end; a broker that comes back costs no addition. A connection of the plug-in's own is not made anew.
 * A frame over the bus's limit is dropped unread, and one whose head makes no sense ends the connection. Libubus of
 * 2014 reads all that has come at once: of several frames only the first is looked at then.
 * Returns  0, or -1 if the table is full or the descriptor is too large for select (logged at level 3). */
ZEL_API int zel_loop_add_ubus(struct ubus_context* context);

/* ---- Global lock --------------------------------------------------------------------------------------- */

/* Lock and unlock the library's recursive mutex, which guards all bus traffic, the cloud handler and the
 * event callbacks. Return the result of pthread_mutex_lock or pthread_mutex_unlock. */
ZEL_API int zel_lock(void);
ZEL_API int zel_unlock(void);

/* ---- Logging ------------------------------------------------------------------------------------------- */

/* Which form the library's own messages take: non-zero (1 at load) puts "function:line " behind the tag, zero
 * leaves it out and drops pure traces. Read at each message; the plug-in may set it at any time. */
extern ZEL_API int32_t zel_debug;

/* Writes one message to standard error as "[MM-DD hh:mm:ss] text\n" (one-digit numbers of the time padded
 * with blanks) and to syslog. No level is filtered out.
 * level    syslog priority, 0 to 7
 * format   printf format; text over 2046 characters is cut
 * Syslog looks at the text a second time: "%%" becomes one percent sign and "%m" the text of errno there.
 * Every other percent sign reaches syslog as it stands. */
ZEL_API void zel_log(int level, const char* format, ...) ZEL_PRINTF(2, 3);

/* Logger of the base utilities. Levels: 0 fatal, 1 error, 2 warning, 3 information, 4 debug; others are shown
 * with the letter "?".
 * A line up to level qo_debuglevel (compared unsigned; 1 at load) goes to standard error as
 * "[L-DD hh:mm:ss] text\n", with L one of F E W I D. Lines below level 4 are also appended to errlog_buffer,
 * whatever the threshold. Text over 1022 characters is cut.
 * Returns 0, or the result of unlocking errlog_mutex when the line was buffered. */
ZEL_API int QO_Log(int level, const char* format, ...) ZEL_PRINTF(2, 3);

/* Sets qo_debuglevel and returns its address. */
ZEL_API int32_t* QO_LogSetLevel(unsigned int level);
extern ZEL_API int32_t qo_debuglevel;

/* Rolling text of QO_Log's lines, and where the next one goes. A line that no longer fits before the end
 * starts again at the front, over the oldest text and without a terminator behind it, so that the buffer
 * then reads as the newest lines followed by the rest of older ones. Hold errlog_mutex while reading. */
extern ZEL_API char errlog_buffer[51200];
extern ZEL_API int32_t pos;
extern ZEL_API pthread_mutex_t errlog_mutex;

/* Appends `length` bytes of `line` to the rolling buffer; `buffer` is errlog_buffer. Hold errlog_mutex.
 * Lengths below 1 do nothing; a line longer than the buffer is cut. */
ZEL_API void add_to_errbuff(char* buffer, const char* line, int length);

/* A mask of log channels that tools of the router set; the library's loggers do not look at it.
 * Sets bit (n mod 32) and returns the mask's address. */
ZEL_API uint32_t* lk_log_en(unsigned int n);
extern ZEL_API uint32_t g_dwLogEn;
extern ZEL_API const char* g_apcModuleName[1];

/* ---- Helpers ------------------------------------------------------------------------------------------- */

/* malloc and free under the library's name, for text that crosses the interface. zel_free accepts null. */
ZEL_API void* zel_malloc(size_t size);
ZEL_API void zel_free(void* memory);

/* Frees the pointer that `holder` points to (null allowed there) and stores null in it. `holder` is the
 * address of a pointer variable of any type. */
ZEL_API void zel_freep(void* holder);

/* Copies with strncpy (so a short source is padded with NULs) and then ends the text at size - 1.
 * size     bytes of the destination; never 0. Returns the destination. */
ZEL_API char* zel_strncpy(char* destination, const char* source, size_t size);

/* Writes the process id into the file at `path` (created with mode 0777 less the umask) and locks it until
 * the process ends, also across exec, so that a second instance is noticed. The file is not truncated first:
 * digits of an older, longer id stay behind a shorter one.
 * Returns 0, or -1 if the file cannot be opened, another process holds its lock, or the write falls short. */
ZEL_API int zel_store_pid(const char* path);

ZEL_EXTERN_C_END

#endif
