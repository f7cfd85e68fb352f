/* ubus_common.h: what library, broker and tool share. Nothing for programs, which may include it nevertheless. */
#ifndef HOSTBUS_UBUS_COMMON_H
#define HOSTBUS_UBUS_COMMON_H

#endif
