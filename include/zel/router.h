/* router.h: reading router information and changing its DNS servers.
 * Conventions common to all headers are in zel.h.
 *
 * Most calls ask the router's management interface with one HTTP request and take up to 10 seconds. Those
 * about DNS take up to twice 16 seconds for each request; setting and resetting make two. Each query exists
 * as a vendor_ call too, without the permission check and with all its results.
 *
 * What holds for every call:
 *  - Standard output gets what is exchanged with the management interface (setting and resetting DNS sends
 *    the PPPoE account's password, in clear) and what went wrong with it, with the router's own text;
 *    zel_debug does not turn this off. Refusals of the information calls are logged at level 3 under
 *    "[ZRAPI]".
 *  - The router's answer has at most 9,999 characters; a longer one is a failure. A member that is missing or
 *    of another type is one too; what was filled before it stays filled.
 *  - Nothing is allocated for the caller. A call takes up to 32 KB of the calling thread's stack, up to
 *    128 KB if the router answers with a thousand lists inside one another.
 *  - Any thread may call, also a callback of the library, during which the global lock is held, so that the
 *    process neither receives nor sends anything on the bus meanwhile. The calls themselves take only locks
 *    of their own: those about DNS wait for each other, as one exchange with the router is not to mix with
 *    another's.
 *  - libcurl's proxy variables count here too: where http_proxy is set, no_proxy must name the router. */
#ifndef ZEL_ROUTER_H
#define ZEL_ROUTER_H

#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

/* ---- Records ------------------------------------------------------------------------------------------- */

/* Rates of the WAN link in the router's own unit, passed on as they are. A text that is no number is 0. */
typedef struct zel_wan_speed {
  int32_t InstanDownloadRate;
  int32_t AverageDownloadRate;
  int32_t PeakDownloadRate;
  int32_t InstantUploadRate;
  int32_t AverageUploadRate;
  int32_t PeakUploadRate;
} zel_wan_speed;

/* The WAN link now. */
typedef struct zel_wan_status {
  int32_t WAN_NET;  /* 1: the internet can be reached; else 0 */
  int32_t WAN_LINE; /* 1: the cable is linked; else 0 */
  char WAN_IP[16];  /* NUL-terminated unless it has 16 characters, which no address of IPv4 has */
  int32_t WAN_TYPE; /* the router's 0 or 1; 2 for any other type */
} zel_wan_status;

/* One Wi-Fi network. */
typedef struct zel_wifi_info {
  char WIFI_SSID[128];            /* NUL-terminated unless it has 128 characters */
  int32_t WIFI_WirelessFrequency; /* 0: 2.4 GHz; 1: 5 GHz */
  int32_t WIFI_Status;            /* 1: on; 0: off */
} zel_wifi_info;

/* One partition of a disk; sizes in the router's own unit. */
typedef struct zel_partition_info {
  char Partition[64]; /* device name such as sda1; NUL-terminated unless it has 64 characters */
  char UUID[40];      /* of its file system, at most 37 characters and a NUL; empty if blkid tells none or the
                         name is not of letters, digits, "_", "-", "." and "/" alone, or has ".." */
  int32_t Total;      /* available and used */
  int32_t Used;
} zel_partition_info;

/* Bytes that each text zel_get_router_dns fills must hold: 32 characters and the NUL. */
#define ZEL_DNS_SIZE 33

/* ---- Information --------------------------------------------------------------------------------------- */

/* Results of the calls of this section, besides those they list:
 *   0   done
 *  -1   refused without asking the router: a null argument, a count below 1, or a caller that is unknown or
 *       lacks the ability
 *  -2   the query failed */

/* The device's name, which is the SSID of its 2.4 GHz network. Needs ability 6.
 * name    buffer; the name is cut to it, and it is filled up with NULs
 * length  its size in bytes, 1 or more; below that nothing is written and a name that came gives -1 */
ZEL_API int zel_get_device_name(char* name, int length);

/* The device's identity, from the file /tmp/norva_daemon.info. Arguments and ability as above. */
ZEL_API int zel_get_device_id(char* device_id, int length);

/* The WAN link's rates, and its status. Need ability 7. */
ZEL_API int zel_get_wan_speed(zel_wan_speed* speed);
ZEL_API int zel_get_wan_status(zel_wan_status* status);

/* The Wi-Fi networks, in the router's order. Needs ability 8.
 * networks  array of *count records
 * count     1 or more; receives the number of records filled, on success only
 * Returns   the number of networks that found no room. A positive error code of the router is returned as it
 *           is and cannot be told from that: clear the records first if it matters. */
ZEL_API int zel_get_wifi_info(zel_wifi_info* networks, int* count);

/* The partitions. Needs ability 14. Arguments and result as zel_get_wifi_info; a record whose entry in the
 * router's answer is no object counts and is left as it was. Runs blkid once for each partition and waits for it. */
ZEL_API int zel_get_partition_info(zel_partition_info* partitions, int* count);

/* ---- DNS servers of the WAN connection ----------------------------------------------------------------- */

/* These need no ability. Results besides 0:
 *  -1   a refused argument; when resetting: the request to reset found no answer
 *  -2   no usable answer, or one that reports an error
 *  -3   the WAN connection is neither PPPoE nor static
 *  -4   when setting and resetting: the router reports no PPPoE account name or no static address */

/* The two servers.
 * dns1, dns2  ZEL_DNS_SIZE bytes each; texts are cut to 32 characters and NUL-terminated. Null gives -1. */
ZEL_API int zel_get_router_dns(char* dns1, char* dns2);

/* Sets the two servers by hand. The router is asked for its other WAN settings, and gets all of them back.
 * dns1   at most 15 characters, else -1; null gives -1
 * dns2   any length; null gives -1. The whole request keeps the first 255 characters of its parameters.
 * The texts and the router's settings enter the request's URL as they stand, nothing is escaped: "&" in one of
 * them begins a new parameter, and "%" an escape. What no URL can carry to the router is not sent, as if the
 * request had failed: a "#", a blank or a control character. With one in dns1 or dns2 the router is not even asked. */
ZEL_API int zel_set_router_dns(const char* dns1, const char* dns2);

/* Takes the servers set by hand away again. */
ZEL_API int zel_reset_router_dns(void);

/* ---- The queries themselves ---------------------------------------------------------------------------- */

/* What the calls above do after their checks, with the same arguments. The first six return 0, or a number of
 * entries left out; the router's own error code if it is not 0; -1 for a null argument, a count below 1 and
 * for any other failure. The text calls fill `length` bytes and do not terminate a text of that length.
 * vendor_get_device_id returns -2 for a file of 4,096 bytes or more. */
ZEL_API int vendor_get_device_name(char* name, int length);
ZEL_API int vendor_get_device_id(char* device_id, int length);
ZEL_API int vendor_get_wan_speed(zel_wan_speed* speed);
ZEL_API int vendor_get_wan_status(zel_wan_status* status);
ZEL_API int vendor_get_wifi_info(zel_wifi_info* networks, int* count);
ZEL_API int vendor_get_partition_info(zel_partition_info* partitions, int* count);

/* The same codes as with zel_, but a null text gives -2 and the length of dns1 is not checked. */
ZEL_API int vendor_get_router_dns(char* dns1, char* dns2);
ZEL_API int vendor_set_router_dns(const char* dns1, const char* dns2);
ZEL_API int vendor_reset_router_dns(void);

ZEL_EXTERN_C_END

#endif
