/* download.h: download tasks of the router's download daemon (aria2).
 * Conventions common to all headers are in zel.h.
 *
 * The daemon downloads in the background and owns the tasks: they go on when the plug-in ends. A plug-in with
 * ability 1 creates a task, keeps its id, and asks for its progress:
 *
 *     const task_param what = {"http://example.org/film.mkv", "/mnt/sda1", "film.mkv"};
 *     char id[ZEL_TASK_ID_SIZE];
 *     task_info task;
 *     if (zel_download_task_create(&what, id) == 0 && zel_download_task_query(id, &task) == 0)
 *       printf("%lld of %lld bytes\n", (long long)task.completed_length, (long long)task.total_length);
 *
 * What holds for every call:
 *  - It first checks that the caller holds ability 1 (ability_download), then its arguments, then makes one
 *    HTTP request to the daemon on this machine, port 6800, and blocks until the answer is there. Calls that
 *    wait twice 10 seconds make it again if it fails.
 *  - -1 does not mean that nothing was done: the daemon may have carried out a request whose answer came too
 *    late or broke off, and refused the second one for that.
 *  - The daemon's answer is kept as far as 9,999 characters, indentation included. A longer one makes the call
 *    fail; a task's entry in a list takes about 150, so that lists fail from some 60 tasks of all plug-ins on.
 *  - What goes wrong with the daemon is logged at level 3, with the tag "[ZEL]". Why the daemon refused is not
 *    looked at.
 *  - Threads: any. The calls of one process ask the daemon one after the other: while it is slow to answer one
 *    thread, the others wait for that on top of their own time-outs. The global lock is not taken; a handler
 *    (cloud.h, event.h) may call, but nothing else is received until the daemon has answered. */
#ifndef ZEL_DOWNLOAD_H
#define ZEL_DOWNLOAD_H

#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

#define ZEL_TASK_ID_SIZE 24 /* a task's id with its NUL */

/* Results of the calls besides 0 and -1, in the order in which they are looked for. -1: the daemon could not be
 * asked, or its answer was not what was expected. */
enum zel_download_result {
  ZEL_DOWNLOAD_NOT_PERMITTED = 8000,    /* the caller's appid is unknown, or lacks ability 1 */
  ZEL_DOWNLOAD_NO_PARAM = 8005,         /* the task_param is null */
  ZEL_DOWNLOAD_NO_FILENAME = 8001,      /* its filename is null or empty */
  ZEL_DOWNLOAD_NO_URL = 8002,           /* its url is null or empty */
  ZEL_DOWNLOAD_NO_DIR = 8003,           /* its dir is null, does not exist, or is no directory */
  ZEL_DOWNLOAD_DIR_NOT_WRITABLE = 8004, /* the caller's user may not write to it */
  ZEL_DOWNLOAD_NO_TASK_ID = 8051,       /* the task id that was given is null or empty */
  ZEL_DOWNLOAD_NO_OUTPUT = 8006,        /* the pointer to what the call fills is null */
  ZEL_DOWNLOAD_NO_ROOM = 8007           /* max_count is below 1 */
};

/* task_info.status. 4 is not used. */
enum zel_task_status {
  ZEL_TASK_UNKNOWN = 0,
  ZEL_TASK_ACTIVE = 1,
  ZEL_TASK_WAITING = 2, /* for other tasks to end */
  ZEL_TASK_PAUSED = 3,
  ZEL_TASK_ERROR = 5,   /* ended; see error_code */
  ZEL_TASK_REMOVED = 6, /* deleted */
  ZEL_TASK_COMPLETE = 7
};

/* task_info.error_code. */
enum zel_task_error {
  ZEL_TASK_NO_ERROR = 0,
  ZEL_TASK_TIMED_OUT = 1,
  ZEL_TASK_DISK_FULL = 2,
  ZEL_TASK_IO_FAILED = 3, /* a file could not be opened, made or written */
  ZEL_TASK_NOT_FOUND = 4, /* no such resource, or not authorised to have it */
  ZEL_TASK_DUPLICATE = 5, /* the same download runs already, or the file exists */
  ZEL_TASK_OTHER_ERROR = 14
};

/* What to download. The texts go to the daemon as they are; nothing is kept. */
typedef struct task_param {
  const char* url; /* the file's address */
  const char* dir; /* directory to save it in, absolute: the daemon takes another for one below its own */
  const char* filename; /* its name there */
} task_param;

/* A task's progress. The same layout on every machine. */
typedef struct task_info {
  char task_id[ZEL_TASK_ID_SIZE]; /* NUL-terminated; a longer id of the daemon's is cut */
  int32_t status;                 /* enum zel_task_status */
  int64_t completed_length;       /* bytes that are there */
  int64_t total_length;           /* bytes of the whole file, 0 while that is not known */
  int32_t download_speed;         /* bytes per second */
  int32_t error_code;             /* enum zel_task_error */
} task_info;

/* Creates a task, which starts as soon as the daemon has room. The daemon remembers the caller's appid with it.
 * param    what to download. That `dir` can be written is checked for the caller's user; the daemon, which
 *          writes the file, may run under another.
 * task_id  ZEL_TASK_ID_SIZE bytes; receives the new task's id, filled up with NULs, on success only
 * Returns  0, 8000, 8001 to 8006, or -1. Waits for the daemon up to 10 seconds. */
ZEL_API int zel_download_task_create(const task_param* param, char* task_id);

/* Reads one task's progress, also that of another plug-in's task.
 * task_id  may lie in `info`
 * info     receives it. Members are filled in the order task_id, status, total_length, completed_length,
 *          download_speed, error_code; if the daemon's answer is malformed the rest is left as it was.
 * Returns  0, 8000, 8051, 8006, or -1, also for an id that the daemon does not know. Waits up to 20 seconds. */
ZEL_API int zel_download_task_query(const char* task_id, task_info* info);

/* The two calls about lists see all active tasks, and 100 each of waiting (with paused) and of ended ones (with
 * deleted). The plug-in "1" sees the tasks of all plug-ins, others their own. They wait up to twice 10 seconds. */

/* Counts the tasks whose appid is the caller's.
 * Returns  the count, 8000 (which cannot be told from a count of 8000), or -1. */
ZEL_API int zel_download_task_getnum(void);

/* Reads the progress of the tasks whose appid begins with the caller's: "12" sees those of "123" too.
 * list       array of max_count records, filled from the first on: active tasks, then waiting, then ended ones.
 *            Tasks that find no room are left out. How many were filled is not told: clear the array before.
 * max_count  1 or more
 * Returns    0, 8000, 8006, 8007, or -1; then some records may have been filled. */
ZEL_API int zel_download_task_get_list(task_info* list, int max_count);

/* Pause a task, resume a paused one, and delete one, which leaves what was downloaded on the disk. Any plug-in
 * with ability 1 may do so with every task whose id it knows.
 * Return   0 if the daemon accepted it; 8000, 8051; -1, also if the daemon does not know the id or the task is
 *          in no state for it. They wait up to twice 10 seconds. Resuming logs its request at level 3. */
ZEL_API int zel_download_task_pause(const char* task_id);
ZEL_API int zel_download_task_resume(const char* task_id);
ZEL_API int zel_download_task_del(const char* task_id);

/* The daemon's latest answer, for debugging. Not to be looked at while another thread makes a call. */
extern ZEL_API char dst_buffer[51200];

ZEL_EXTERN_C_END

#endif
