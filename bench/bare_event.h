/* bare_event.h: an event as programs send and hear it that use libubus alone. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Registers for the events, calls `report` once to say so, and then for each event. Returns only on failure. */
void bare_hear(void (*report)(void));

/* Sends a disk event over a connection of its own. Returns 0, or another number on failure. */
int bare_send(const char* text);

#ifdef __cplusplus
}
#endif
