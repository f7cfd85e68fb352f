/* blobmsg.h: attributes with a name and a type ("fields"), the contents of bus messages.
 *
 * A message is a run of fields without a table around them: the enclosing attribute plays that part. So on
 * the msg of a handler or callback blob_data/blob_len and blobmsg_data/blobmsg_len give the same.
 *
 * Reading   test tb[] after blobmsg_parse; its entries point into the message and live as long as it does.
 *           blobmsg_get_* of numbers take no null and check neither type nor size.
 * Building  adders return 0, or -1 when the buffer cannot grow or the name is longer than 65535 bytes; the
 *           buffer then is as before. A null name is the empty name. */
#ifndef HOSTBUS_LIBUBOX_BLOBMSG_H
#define HOSTBUS_LIBUBOX_BLOBMSG_H

#include "blob.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Types of fields, as on the wire. CAST_INT64 is for policies only: any of the four integers. */
enum blobmsg_type {
  BLOBMSG_TYPE_UNSPEC,
  BLOBMSG_TYPE_ARRAY,
  BLOBMSG_TYPE_TABLE,
  BLOBMSG_TYPE_STRING,
  BLOBMSG_TYPE_INT64,
  BLOBMSG_TYPE_INT32,
  BLOBMSG_TYPE_INT16,
  BLOBMSG_TYPE_INT8,
  BLOBMSG_TYPE_BOOL = BLOBMSG_TYPE_INT8,
  BLOBMSG_TYPE_DOUBLE,
  __BLOBMSG_TYPE_LAST,
  BLOBMSG_TYPE_LAST = __BLOBMSG_TYPE_LAST - 1,
  BLOBMSG_CAST_INT64 = __BLOBMSG_TYPE_LAST
};

/* In front of a field's value: the name without and then with its NUL, padded to a multiple of 4 together. */
struct blobmsg_hdr {
  uint16_t namelen;
  uint8_t name[];
} __packed;

/* A field that blobmsg_parse looks for. type UNSPEC takes any; a null name never matches. */
struct blobmsg_policy {
  const char* name;
  enum blobmsg_type type;
};

/* Finds the fields named in policy[0..policy_len) in a run of fields, such as blob_data and blob_len of a
 * message; tb has one entry for each. All entries are cleared first. The first field with an entry's name and
 * type is stored; a field of another type counts as absent.
 * Returns 0; -EINVAL when data is null or len 0; -1 at the first malformed field, named in the policy or not,
 * with what came before it stored. Callers usually look at tb only. */
int blobmsg_parse(const struct blobmsg_policy* policy, int policy_len, struct blob_attr** tb, void* data,
                  unsigned int len);

/* Whether the attribute is well-formed (name header, type, size of the value; not what an array or table
 * contains). With `name` an empty name is refused. An attribute without name header passes without `name`. */
bool blobmsg_check_attr(const struct blob_attr* attr, bool name);

/* The same for an attribute in len bytes from outside. */
bool blobmsg_check_attr_len(const struct blob_attr* attr, bool name, size_t len);

/* Adds a field with len bytes of value; data null leaves the value as it is in the buffer. */
int blobmsg_add_field(struct blob_buf* buf, int type, const char* name, const void* data, unsigned int len);

/* Opens a table or an array. Returns the cookie for blob_nest_end, or null. */
void* blobmsg_open_nested(struct blob_buf* buf, const char* name, bool array);

/* --- reading ------------------------------------------------------------------------------------------- */

/* Bytes of a name header for a name of namelen bytes. */
static inline int blobmsg_hdrlen(unsigned int namelen) {
  return (int)((sizeof(struct blobmsg_hdr) + namelen + 1 + BLOB_ATTR_ALIGN - 1) &
               ~(size_t)(BLOB_ATTR_ALIGN - 1));
}

/* Bytes in front of the value: the name header, if there is one, and never more than the payload. */
static inline size_t blobmsg_value_offset(const struct blob_attr* attr) {
  size_t hdrlen;
  if (!blob_is_extended(attr)) return 0;
  if (blob_len(attr) < sizeof(struct blobmsg_hdr)) return blob_len(attr);
  hdrlen = (size_t)blobmsg_hdrlen(blob_get_u16(attr));
  return hdrlen < blob_len(attr) ? hdrlen : blob_len(attr);
}

/* The field's name; empty without one. */
static inline const char* blobmsg_name(const struct blob_attr* attr) {
  return blobmsg_value_offset(attr) == 0 ? "" : attr->data + sizeof(struct blobmsg_hdr);
}

static inline int blobmsg_type(const struct blob_attr* attr) {
  return (int)blob_id(attr);
}

/* The field's value and its bytes; null and 0 for null. */
static inline void* blobmsg_data(const struct blob_attr* attr) {
  return attr ? (char*)blob_data(attr) + blobmsg_value_offset(attr) : NULL;
}

static inline size_t blobmsg_data_len(const struct blob_attr* attr) {
  return attr ? blob_len(attr) - blobmsg_value_offset(attr) : 0;
}

static inline uint8_t blobmsg_get_u8(struct blob_attr* attr) {
  return *(uint8_t*)blobmsg_data(attr);
}

static inline bool blobmsg_get_bool(struct blob_attr* attr) {
  return blobmsg_get_u8(attr) != 0;
}

static inline uint32_t blobmsg_get_u32(struct blob_attr* attr) {
  uint32_t number;
  memcpy(&number, blobmsg_data(attr), sizeof(number));
  return be32_to_cpu(number);
}

static inline uint64_t blobmsg_get_u64(struct blob_attr* attr) {
  uint64_t number;
  memcpy(&number, blobmsg_data(attr), sizeof(number));
  return be64_to_cpu(number);
}

/* The text of a string field; null for null. */
static inline char* blobmsg_get_string(struct blob_attr* attr) {
  return (char*)blobmsg_data(attr);
}

/* Head of a loop over the fields in an array, table or message, which may be null. `rem` is a size_t of the
 * caller's. */
#define blobmsg_for_each_attr(pos, attr, rem)                                     \
  for (rem = blobmsg_data_len(attr), pos = (struct blob_attr*)blobmsg_data(attr); \
       blob_attr_fits(pos, (size_t)(rem)); rem -= blob_pad_len(pos), pos = blob_next(pos))

/* --- building ------------------------------------------------------------------------------------------- */

static inline int blobmsg_add_u8(struct blob_buf* buf, const char* name, uint8_t number) {
  return blobmsg_add_field(buf, BLOBMSG_TYPE_INT8, name, &number, sizeof(number));
}

static inline int blobmsg_add_u32(struct blob_buf* buf, const char* name, uint32_t number) {
  number = cpu_to_be32(number);
  return blobmsg_add_field(buf, BLOBMSG_TYPE_INT32, name, &number, sizeof(number));
}

static inline int blobmsg_add_u64(struct blob_buf* buf, const char* name, uint64_t number) {
  number = cpu_to_be64(number);
  return blobmsg_add_field(buf, BLOBMSG_TYPE_INT64, name, &number, sizeof(number));
}

/* Adds the text with its NUL; a null text is refused with -1. */
static inline int blobmsg_add_string(struct blob_buf* buf, const char* name, const char* string) {
  if (!string) return -1;
  return blobmsg_add_field(buf, BLOBMSG_TYPE_STRING, name, string, (unsigned int)strlen(string) + 1);
}

/* Open and close tables; innermost first. */
static inline void* blobmsg_open_table(struct blob_buf* buf, const char* name) {
  return blobmsg_open_nested(buf, name, false);
}

static inline void blobmsg_close_table(struct blob_buf* buf, void* cookie) {
  blob_nest_end(buf, cookie);
}

#ifdef __cplusplus
}
#endif

#endif
