/* blob.h: the attributes that bus messages are made of, and the buffer that builds them.
 *
 * An attribute is a big-endian word (extended flag, 7-bit id, 24-bit length with the word itself) and a
 * payload, padded with zeros to a multiple of 4. A container's payload is a run of attributes.
 *
 * Reading   the inline readers trust the attribute's length: use them on attributes that blob_parse,
 *           blobmsg_parse or a loop macro delivered. blob_get_* do not check the payload's size.
 * Building  pointers to attributes in a buffer die when more is added; take buf->head last.
 * Threads   nothing is shared: any thread, one at a time per buffer. */
#ifndef HOSTBUS_LIBUBOX_BLOB_H
#define HOSTBUS_LIBUBOX_BLOB_H

#include <errno.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "utils.h"

#define BLOB_COOKIE 0x01234567
#define BLOB_ATTR_ID_MASK 0x7f000000
#define BLOB_ATTR_ID_SHIFT 24
#define BLOB_ATTR_LEN_MASK 0x00ffffff
#define BLOB_ATTR_ALIGN 4
#define BLOB_ATTR_EXTENDED 0x80000000

#ifdef __cplusplus
extern "C" {
#endif

/* Kinds of payload, for checks only; never on the wire. */
enum {
  BLOB_ATTR_UNSPEC,
  BLOB_ATTR_NESTED,
  BLOB_ATTR_BINARY,
  BLOB_ATTR_STRING,
  BLOB_ATTR_INT8,
  BLOB_ATTR_INT16,
  BLOB_ATTR_INT32,
  BLOB_ATTR_INT64,
  BLOB_ATTR_DOUBLE,
  BLOB_ATTR_LAST
};

struct blob_attr {
  uint32_t id_len;
  char data[];
} __packed;

/* What blob_parse demands of one id. minlen and maxlen are payload bytes, 0 means no limit; validate may be
 * null. */
struct blob_attr_info {
  unsigned int type;
  unsigned int minlen;
  unsigned int maxlen;
  bool (*validate)(const struct blob_attr_info*, struct blob_attr*);
};

/* A message being built. Zero it before its first use. head is the container being filled and, once all
 * nested ones are closed, the whole message. grow enlarges buf by at least minlen bytes, keeping its
 * contents. */
struct blob_buf {
  struct blob_attr* head;
  bool (*grow)(struct blob_buf* buf, int minlen);
  int buflen;
  void* buf;
};

/* --- reading ------------------------------------------------------------------------------------------- */

static inline void* blob_data(const struct blob_attr* attr) {
  return (void*)(uintptr_t)attr->data;
}

static inline unsigned int blob_id(const struct blob_attr* attr) {
  return (be32_to_cpu(attr->id_len) & BLOB_ATTR_ID_MASK) >> BLOB_ATTR_ID_SHIFT;
}

static inline bool blob_is_extended(const struct blob_attr* attr) {
  return (be32_to_cpu(attr->id_len) & BLOB_ATTR_EXTENDED) != 0;
}

/* Bytes with the header word, without and with the padding. */
static inline size_t blob_raw_len(const struct blob_attr* attr) {
  return be32_to_cpu(attr->id_len) & BLOB_ATTR_LEN_MASK;
}

static inline size_t blob_pad_len(const struct blob_attr* attr) {
  return (blob_raw_len(attr) + BLOB_ATTR_ALIGN - 1) & ~(size_t)(BLOB_ATTR_ALIGN - 1);
}

/* Bytes of payload; 0 also for an illegal length under 4. */
static inline size_t blob_len(const struct blob_attr* attr) {
  return blob_raw_len(attr) < sizeof(struct blob_attr) ? 0 : blob_raw_len(attr) - sizeof(struct blob_attr);
}

static inline uint8_t blob_get_u8(const struct blob_attr* attr) {
  return (uint8_t)attr->data[0];
}

static inline uint16_t blob_get_u16(const struct blob_attr* attr) {
  uint16_t number;
  memcpy(&number, attr->data, sizeof(number));
  return be16_to_cpu(number);
}

static inline uint32_t blob_get_u32(const struct blob_attr* attr) {
  uint32_t number;
  memcpy(&number, attr->data, sizeof(number));
  return be32_to_cpu(number);
}

static inline int32_t blob_get_int32(const struct blob_attr* attr) {
  return (int32_t)blob_get_u32(attr);
}

static inline const char* blob_get_string(const struct blob_attr* attr) {
  return attr->data;
}

static inline struct blob_attr* blob_next(const struct blob_attr* attr) {
  return (struct blob_attr*)((uintptr_t)attr + blob_pad_len(attr));
}

/* Whether a whole attribute with its padding lies in the rem bytes at attr. */
static inline bool blob_attr_fits(const struct blob_attr* attr, size_t rem) {
  return rem >= sizeof(struct blob_attr) && blob_pad_len(attr) >= sizeof(struct blob_attr) &&
         blob_pad_len(attr) <= rem;
}

static inline struct blob_attr* blob_first_child(const struct blob_attr* attr) {
  return attr ? (struct blob_attr*)blob_data(attr) : NULL;
}

static inline size_t blob_children_len(const struct blob_attr* attr) {
  return attr ? blob_len(attr) : 0;
}

/* Head of a loop over the children of a plain container, which may be null. `rem` is a size_t of the
 * caller's. A truncated tail ends the loop like the end. */
#define blob_for_each_attr(pos, attr, rem)                                                              \
  for (rem = blob_children_len(attr), pos = blob_first_child(attr); blob_attr_fits(pos, (size_t)(rem)); \
       rem -= blob_pad_len(pos), pos = blob_next(pos))

/* Sorts the children of attr into data[0..max) by id. A child that fails the rule info[id] counts as absent;
 * info may be null (no rules). Of several valid children of one id the last one is kept; ids from max on are
 * ignored. Returns how many different ids were found. */
int blob_parse(struct blob_attr* attr, struct blob_attr** data, const struct blob_attr_info* info, int max);

/* The same for an attribute in attr_len bytes from outside. Returns 0 and leaves data alone when the
 * attribute's length says more than attr_len. */
int blob_parse_untrusted(struct blob_attr* attr, size_t attr_len, struct blob_attr** data,
                         const struct blob_attr_info* info, int max);

/* --- building ------------------------------------------------------------------------------------------- */

/* Makes the buffer an empty attribute of that id; what was in it is lost, its memory is kept.
 * Returns 0 or -ENOMEM. */
int blob_buf_init(struct blob_buf* buf, int id);

/* Frees the memory. The buffer may be initialised again; harmless on a zeroed one. */
void blob_buf_free(struct blob_buf* buf);

/* Appends an attribute of len bytes to the open container; ptr null leaves the payload as it is in the buffer.
 * Returns the attribute, or null when the buffer cannot grow or would pass 16777215 bytes; its contents are
 * unharmed then. */
struct blob_attr* blob_put(struct blob_buf* buf, int id, const void* ptr, unsigned int len);

/* Opens a container in the open one; blob_nest_end closes it. Innermost first. Until then its parent's length
 * does not count it. Returns a cookie for blob_nest_end, or null when the buffer cannot grow. */
void* blob_nest_start(struct blob_buf* buf, int id);
void blob_nest_end(struct blob_buf* buf, void* cookie);

/* Appends a string with its NUL, or a number in the wire's byte order. */
static inline struct blob_attr* blob_put_string(struct blob_buf* buf, int id, const char* str) {
  return blob_put(buf, id, str, (unsigned int)strlen(str) + 1);
}

static inline struct blob_attr* blob_put_u8(struct blob_buf* buf, int id, uint8_t number) {
  return blob_put(buf, id, &number, sizeof(number));
}

static inline struct blob_attr* blob_put_u32(struct blob_buf* buf, int id, uint32_t number) {
  number = cpu_to_be32(number);
  return blob_put(buf, id, &number, sizeof(number));
}

#ifdef __cplusplus
}
#endif

#endif
