/* bare_exchange.h: a cloud message sent without the library. */
#ifndef BENCH_BARE_EXCHANGE_H
#define BENCH_BARE_EXCHANGE_H

#ifdef __cplusplus
extern "C" {
#endif

/* Sends a message to the object "zel_<target>" on a connection of its own, as an author would who has nothing
 * but libubus. Returns the answer, to be freed with free, or null. */
char* bare_exchange(const char* target, const char* message);

#ifdef __cplusplus
}
#endif

#endif
