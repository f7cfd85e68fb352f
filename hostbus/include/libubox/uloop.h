/* uloop.h: the event loop of single-threaded bus programs. One loop per process, used by one thread; only
 * uloop_end may be called from elsewhere (another thread, a signal handler). No signal is touched. */
#ifndef HOSTBUS_LIBUBOX_ULOOP_H
#define HOSTBUS_LIBUBOX_ULOOP_H

#include <stdbool.h>
#include <stdint.h>
#include <sys/time.h>

#include "list.h"

#define ULOOP_READ (1 << 0)
#define ULOOP_WRITE (1 << 1)
#define ULOOP_BLOCKING (1 << 3) /* leave the descriptor's blocking mode as it is */
#define ULOOP_EVENT_MASK (ULOOP_READ | ULOOP_WRITE)

#ifdef __cplusplus
extern "C" {
#endif

struct uloop_fd;
struct uloop_timeout;

typedef void (*uloop_fd_handler)(struct uloop_fd* u, unsigned int events);
typedef void (*uloop_timeout_handler)(struct uloop_timeout* t);

/* A watched descriptor. The caller sets cb and fd, keeps the record in place until uloop_fd_delete, and
 * owns the descriptor. eof is set on a hang-up; error on a poll error, which also ends the watching. */
struct uloop_fd {
  uloop_fd_handler cb;
  int fd;
  bool eof;
  bool error;
  bool registered;
  uint8_t flags;
};

/* A timer that fires once. Zero it, set cb, keep it in place while pending. time is its end (monotonic). */
struct uloop_timeout {
  struct list_head list;
  bool pending;
  uloop_timeout_handler cb;
  struct timeval time;
};

/* Makes the loop ready. Optional: the other calls need nothing before them. Returns 0. */
int uloop_init(void);
/* Serves descriptors and timers until uloop_end, or until there are none left. Returns 0. May be nested. */
int uloop_run(void);
/* Makes the running uloop_run return after the callback in progress. */
void uloop_end(void);

/* Watches u->fd for the events in flags (ULOOP_READ, ULOOP_WRITE), or changes them; without an event it stops
 * watching. Makes the descriptor non-blocking unless ULOOP_BLOCKING. Returns 0, or -1 when it cannot. */
int uloop_fd_add(struct uloop_fd* u, unsigned int flags);
/* Stops watching. Allowed in any callback. Returns 0, or -1 when it was not watched. */
int uloop_fd_delete(struct uloop_fd* u);

/* Starts the timer, or moves a started one; msecs is in milliseconds from now. Returns 0, or -1 without cb.
 */
int uloop_timeout_set(struct uloop_timeout* t, int msecs);
/* Stops the timer. Returns 0, or -1 when it was not started. */
int uloop_timeout_cancel(struct uloop_timeout* t);

#ifdef __cplusplus
}
#endif

#endif
