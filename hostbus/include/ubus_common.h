/* ubus_common.h: constants of library, broker and tool. */
#ifndef HOSTBUS_UBUS_COMMON_H
#define HOSTBUS_UBUS_COMMON_H

/* Where the broker listens unless told otherwise. */
#define UBUS_UNIX_SOCKET "/var/run/ubus/ubus.sock"

#endif
