/* ubusmsg.h: what travels on the bus socket: frame header, message types, attributes and status codes.
 *
 * A frame is a header and one attribute of id 0, whose children are the message attributes. */
#ifndef HOSTBUS_UBUSMSG_H
#define HOSTBUS_UBUSMSG_H

#include <libubox/blob.h>
#include <stdint.h>

/* Largest outer attribute, in bytes with its padding. */
#define UBUS_MAX_MSGLEN 1048576

#define UBUS_CLIENT_ID_CHANNEL 1

#define UBUS_SYSTEM_OBJECT_EVENT 1
#define UBUS_SYSTEM_OBJECT_MONITOR 3

#ifdef __cplusplus
extern "C" {
#endif

/* On the wire seq and peer are big-endian. */
struct ubus_msghdr {
  uint8_t version;
  uint8_t type;
  uint16_t seq;
  uint32_t peer;
} __attribute__((packed, aligned(4)));

struct ubus_msghdr_buf {
  struct ubus_msghdr hdr;
  struct blob_attr* data;
};

enum ubus_msg_type {
  UBUS_MSG_HELLO,         /* broker: first frame of a connection; peer is the client's id */
  UBUS_MSG_STATUS,        /* end of a request */
  UBUS_MSG_DATA,          /* result of a request, before its STATUS */
  UBUS_MSG_PING,          /* echoed */
  UBUS_MSG_LOOKUP,        /* find objects */
  UBUS_MSG_INVOKE,        /* call a method; also an event's delivery */
  UBUS_MSG_ADD_OBJECT,    /* client only */
  UBUS_MSG_REMOVE_OBJECT, /* client only */
  UBUS_MSG_SUBSCRIBE,     /* client only */
  UBUS_MSG_UNSUBSCRIBE,   /* from the broker: the object subscribed to is gone */
  UBUS_MSG_NOTIFY,        /* from the broker: whether an object has subscribers */
  UBUS_MSG_MONITOR,       /* broker: trace */
  __UBUS_MSG_LAST
};

enum ubus_msg_attr {
  UBUS_ATTR_UNSPEC,
  UBUS_ATTR_STATUS,      /* INT32 */
  UBUS_ATTR_OBJPATH,     /* string */
  UBUS_ATTR_OBJID,       /* INT32 */
  UBUS_ATTR_METHOD,      /* string */
  UBUS_ATTR_OBJTYPE,     /* INT32 */
  UBUS_ATTR_SIGNATURE,   /* container of fields */
  UBUS_ATTR_DATA,        /* container of fields */
  UBUS_ATTR_TARGET,      /* INT32 */
  UBUS_ATTR_ACTIVE,      /* INT8 */
  UBUS_ATTR_NO_REPLY,    /* INT8 */
  UBUS_ATTR_SUBSCRIBERS, /* container of plain INT32 of id 0 */
  UBUS_ATTR_USER,        /* string */
  UBUS_ATTR_GROUP,       /* string */
  UBUS_ATTR_MAX
};

/* Attributes of a MONITOR message: a frame that a client sent (SEND 0) or got (SEND 1). */
enum ubus_monitor_attr {
  UBUS_MONITOR_CLIENT, /* INT32: the client's id */
  UBUS_MONITOR_PEER,   /* INT32: peer of the frame's header */
  UBUS_MONITOR_SEND,   /* INT8 */
  UBUS_MONITOR_SEQ,    /* INT32 */
  UBUS_MONITOR_TYPE,   /* INT32: enum ubus_msg_type */
  UBUS_MONITOR_DATA,   /* container of the frame's attributes */
  __UBUS_MONITOR_MAX,
  UBUS_MONITOR_MAX = __UBUS_MONITOR_MAX - 1
};

enum ubus_msg_status {
  UBUS_STATUS_OK,
  UBUS_STATUS_INVALID_COMMAND,
  UBUS_STATUS_INVALID_ARGUMENT,
  UBUS_STATUS_METHOD_NOT_FOUND,
  UBUS_STATUS_NOT_FOUND,
  UBUS_STATUS_NO_DATA,
  UBUS_STATUS_PERMISSION_DENIED,
  UBUS_STATUS_TIMEOUT,
  UBUS_STATUS_NOT_SUPPORTED,
  UBUS_STATUS_UNKNOWN_ERROR,
  UBUS_STATUS_CONNECTION_FAILED,
  UBUS_STATUS_NO_MEMORY,
  UBUS_STATUS_PARSE_ERROR,
  UBUS_STATUS_SYSTEM_ERROR,
  __UBUS_STATUS_LAST
};

#ifdef __cplusplus
}
#endif

#endif
