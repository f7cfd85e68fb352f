/* bare_exchange.h: a cloud message sent without the library. */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* Sends a message to the object "zel_<target>" on a connection of its own, as an author would who has nothing
 * but libubus. Returns the answer, to be freed with free, or null. */
char* bare_exchange(const char* target, const char* message);

#ifdef __cplusplus
}
#endif
