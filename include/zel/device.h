/* device.h: the router as a device: its identity, its daemon's answers, its memory and its processes.
 * Conventions common to all headers are in zel.h.
 *
 * What holds for every call here:
 *  - No ability is needed and no lock is taken. Any thread may call; each call blocks until it is done, except
 *    norva_config_get without a buffer.
 *  - Messages go through QO_Log (service.h), so that with its threshold at load only those of level 1 reach
 *    standard error.
 *  - Programs are run by the shell as the caller's user, found through PATH. What they print is read whole, whatever
 *    signals come meanwhile. In a process that ignores SIGCHLD, or waits for children it has not started itself,
 *    their wait status is lost: a call that returns it returns -1 then, all else is as ever. */
#ifndef ZEL_DEVICE_H
#define ZEL_DEVICE_H

#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

/* ---- Identity ------------------------------------------------------------------------------------------ */

/* Texts are filled up with NULs; one of 64 characters or more is cut to 64 and not terminated. */
typedef struct zel_device_info {
  char device_id[64];
  char daemon_version[64];
  char deviceName[64];
  char fw_version[64];
  char hw_name[64];
  int32_t zelSdkVersion;
} zel_device_info;

/* Reads what the router's daemon keeps in the file /tmp/norva_daemon.info. The caller needs the right to write
 * that file, too, although nothing is written.
 * info     cleared first, then filled in the order device_id, daemon_version, deviceName, zelSdkVersion,
 *          hw_name, fw_version
 * Returns  0; -1 if `info` is null, the file cannot be opened or is no JSON, or at the first member that is
 *          missing or of another type (texts, but zelSdkVersion is a number). What was filled before stays.
 *          Nothing is logged. */
ZEL_API int zel_get_device_info(zel_device_info* info);

/* Asks the router's management interface for the names of firmware and hardware; takes up to 10 seconds.
 * firmware  receives the firmware's version
 * hardware  receives "company_hardware", cut to 63 characters
 *           Both are new texts that the caller frees. They are null at first and stay so if the call fails
 *           before; after a failure `firmware` may hold a text, which is then the caller's as well.
 * Returns   0; the router's own error code if it is not 0; -1 for no answer and for one that lacks a part. These
 *           are logged at level 2. -1 also for a null argument and when memory is short. */
ZEL_API int zel_get_hw_info_from_fw(char** firmware, char** hardware);

/* ---- The daemon's answers ------------------------------------------------------------------------------ */

/* Questions to the daemon's script, /usr/local/localshell/norva_daemon_shell. */
enum norva_config_key {
  NORVA_CONFIG_UPGRADE = 8,       /* "upgrade &": starts an upgrade in the background; ask without a buffer */
  NORVA_CONFIG_SIGN = 39,         /* "getsign": the device's signature */
  NORVA_CONFIG_CLOUDSIGN = 40,    /* "get_cloudsign": the cloud's signature */
  NORVA_CONFIG_LANMAC = 41,       /* "get_lanmac": the LAN's MAC address as text */
  NORVA_CONFIG_WEBURL_STATE = 42, /* "weburl query_state": state of the web address filter */
  NORVA_CONFIG_WEBURL = 43,       /* "weburl %s", in these letters: nothing is filled in */
  NORVA_CONFIG_WEBURL_BLACK = 44  /* "weburl query_blackurls": the blocked web addresses */
};

/* Runs the script for one question.
 * key      one of the numbers above; another is logged at level 1 and runs nothing
 * buffer   `length` bytes, cleared first; receives what the script prints, NUL-terminated, without its last
 *          character if that is a line feed or a carriage return. Output that does not fit ends before the
 *          first line that would have filled the buffer, and keeps its line feed; of a line over 255 bytes, 255
 *          count as a line. Null:
 *          the script is started and goes on by itself, its output unread; the process keeps a descriptor and
 *          the ended child's entry for it.
 * length   its size in bytes; below 1 nothing is written
 * Returns  with a buffer, the script's wait status as pclose gives it; without one 0. -1 for an unknown key
 *          and when the script could not be started, which is logged at level 1. */
ZEL_API int norva_config_get(int key, char* buffer, int length);

/* The MAC address of the LAN, from question 41.
 * mac      6 bytes; 0 where the script gave nothing. Each group of the printed address counts with two
 *          hexadecimal digits: meaningless for groups of another length. Null is left alone.
 * Returns  0, whatever the script did. */
ZEL_API int zel_get_lan_mac(uint8_t* mac);

/* ---- Memory and processes ------------------------------------------------------------------------------ */

/* Main memory in units of 1,000 KiB, from the program `free`.
 * total, used  receive the size and the part in use; 0 if `free` does not tell
 * Returns      the wait status of `free` as pclose gives it, 0 also when it could not be started; -1 for a null
 *              argument. */
ZEL_API int qo_get_memory_info(int* total, int* used);

/* Main memory in KiB, from /proc/meminfo. Returns -1 if that file does not tell. */
ZEL_API int GetRamInKB(void);

/* Tells whether a process runs, by looking for its name in the lines of the program `ps`. Lines with "grep" in
 * them do not count. On a PC `ps` may list the processes of the caller's terminal only.
 * name     a basic regular expression as of grep; matches anywhere in a line, arguments included. One that begins
 *          with "-" would be an option of grep's.
 * Returns  0 if it runs; -1 if not, if the name is null or too long (over 97 bytes; quotes count four times), or
 *          the programs could not be run. */
ZEL_API int zel_detect_proc(const char* name);

ZEL_EXTERN_C_END

#endif
