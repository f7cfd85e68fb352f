/* event.h: the router's events: disk, WAN link, home network.
 * Conventions common to all headers are in zel.h.
 *
 * All events travel as one bus event, "zel.event". A subevent belongs to the event equal to subevent >> 8;
 * what each subevent means is between senders and receivers. Sending needs ability 4, receiving ability 5. */
#ifndef ZEL_EVENT_H
#define ZEL_EVENT_H

#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

struct ubus_context;

/* The events, and how many there are. */
enum zel_event {
  ZEL_EVENT_DISK = 0, /* subevents 0 and 1 */
  ZEL_EVENT_WAN = 1,  /* subevents 256 and 257 */
  ZEL_EVENT_HOME = 2  /* subevent 512 */
};
#define ZEL_EVENT_COUNT 3

/* ---- Receiving ----------------------------------------------------------------------------------------- */

/* Receives one event.
 * subevent  its number
 * data      the sender's text, null if there was none; valid until the callback returns
 * Threads   the service thread, with the global lock held. It may call the library; it must neither throw
 *           nor end the thread. */
typedef void (*zel_event_callback)(int32_t subevent, const char* data);

/* Sets the callback of an event, instead of any earlier one. It is called once there are the receiver and the
 * service thread, which zel_service_init makes for a plug-in with ability 5; subscribing may come first.
 * event    ZEL_EVENT_DISK, ZEL_EVENT_WAN or ZEL_EVENT_HOME
 * Returns  0; -1 for any other event, a null callback, or a caller that is unknown or lacks ability 5
 *          (logged at level 3).
 * Threads  any; takes the global lock. */
ZEL_API int zel_event_subscribe(uint32_t event, zel_event_callback callback);

/* Removes the callback of an event. Results and threads as zel_event_subscribe. */
ZEL_API int zel_event_unsubscribe(uint32_t event);

/* Connects the receiver; zel_service_init does this for a plug-in with ability 5.
 * Returns  0, also when there is one that is served already; -1 if the bus cannot be reached or refuses
 *          (logged at level 3).
 * Threads  any; takes the global lock, before a broker that is stopped without limit. */
ZEL_API int zel_event_init(void);

/* ---- Sending ------------------------------------------------------------------------------------------- */

/* Sends an event to every receiver but those of this call's own connection, so to the sender's own receiver
 * too. A subevent of another event is sent as it is, and every receiver rejects it.
 * event    as in zel_event_subscribe
 * data     text for the receivers, up to about 1,048,000 characters (the bus takes no more); may be null
 * Returns  0; -1 for an event of 3 or more, a caller that is unknown or lacks ability 4, if the bus cannot be
 *          reached (all logged at level 3), or if it does not take the event (not logged).
 * Threads  any, also a callback; holds the global lock while it connects and sends, before a broker that is stopped
 *          without limit. pthread_cancel takes effect after the call. */
ZEL_API int zel_event_send(uint32_t event, uint32_t subevent, const char* data);

/* The same for one kind each, with the subevent checked. `data` must be given here.
 * Return   -1 for a subevent of another kind or null data (logged at level 3). Otherwise zel_event_send_disk
 *          gives the result of the send; zel_event_send_wan and zel_event_send_home give 0 even if it
 *          failed. */
ZEL_API int zel_event_send_disk(uint32_t subevent, const char* data);
ZEL_API int zel_event_send_wan(uint32_t subevent, const char* data);
ZEL_API int zel_event_send_home(uint32_t subevent, const char* data);

/* ---- State, for debugging ------------------------------------------------------------------------------ */

/* The callbacks by event, and the receiver's connection (null until zel_event_init). Written under the global
 * lock. */
extern ZEL_API zel_event_callback zel_event_cb[ZEL_EVENT_COUNT];
extern ZEL_API struct ubus_context* zel_event_ctx;

ZEL_EXTERN_C_END

#endif
