/* utils.h: byte order and small macros of the bus libraries. */
#ifndef HOSTBUS_LIBUBOX_UTILS_H
#define HOSTBUS_LIBUBOX_UTILS_H

#include <stddef.h>
#include <stdint.h>

/* Number of elements of an array; not for pointers. */
#ifndef ARRAY_SIZE
#define ARRAY_SIZE(array) (sizeof(array) / sizeof((array)[0]))
#endif

#ifndef __packed
#define __packed __attribute__((packed))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The wire is big-endian; these convert one number to the wire's order, or back. */
#if __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
static inline uint16_t cpu_to_be16(uint16_t number) {
  return __builtin_bswap16(number);
}
static inline uint32_t cpu_to_be32(uint32_t number) {
  return __builtin_bswap32(number);
}
static inline uint64_t cpu_to_be64(uint64_t number) {
  return __builtin_bswap64(number);
}
#else
static inline uint16_t cpu_to_be16(uint16_t number) {
  return number;
}
static inline uint32_t cpu_to_be32(uint32_t number) {
  return number;
}
static inline uint64_t cpu_to_be64(uint64_t number) {
  return number;
}
#endif
static inline uint16_t be16_to_cpu(uint16_t number) {
  return cpu_to_be16(number);
}
static inline uint32_t be32_to_cpu(uint32_t number) {
  return cpu_to_be32(number);
}
static inline uint64_t be64_to_cpu(uint64_t number) {
  return cpu_to_be64(number);
}

#ifdef __cplusplus
}
#endif

#endif
