/* ubus_common.h: constants of library, broker and tool. */
#ifndef HOSTBUS_UBUS_COMMON_H
#define HOSTBUS_UBUS_COMMON_H

/* Where the broker listens unless told otherwise. */
#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"

#define UBUS_SIGNATURE_METHOD 9
#define UBUS_SIGNATURE_END 10

#define UBUS_MAX_NOTIFY_PEERS 16

#endif
