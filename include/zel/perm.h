/* perm.h: what each plug-in may do.
 * Conventions common to all headers are in zel.h.
 *
 * All processes of the router share one table in System V shared memory, under one System V semaphore.
 * perm_init fills it at boot from two files; queries and updates attach it for the length of a call.
 *
 * The table keeps well-meant plug-ins to what they were granted. It is no barrier against a hostile local program:
 * segment and semaphore are open to every user of the router, who can write the table, or hold the semaphore and let
 * all queries wait. */
#ifndef ZEL_PERM_H
#define ZEL_PERM_H

#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

/* Results of the perm_ calls besides 0. 7005, 7017 and 7020 are not used. */
enum perm_result {
  PERM_BAD_ARGUMENT = 7001,  /* null pointer, ability out of range, appid not all digits */
  PERM_NO_SEMAPHORE = 7002,  /* semaphore could not be created or initialised */
  PERM_NO_SEGMENT = 7003,    /* shared segment could not be obtained */
  PERM_NOT_ATTACHED = 7004,  /* shared segment could not be attached */
  PERM_PERMISSIONS = 7006,   /* permission file could not be produced or read */
  PERM_PACKAGES = 7007,      /* package file could not be read */
  PERM_NOT_OPENED = 7008,    /* file could not be opened */
  PERM_NO_MEMORY = 7009,     /* out of memory while reading a file */
  PERM_SHORT_READ = 7010,    /* file read came up short */
  PERM_NOT_JSON = 7011,      /* file is not JSON */
  PERM_REJECTED = 7012,      /* file content rejected */
  PERM_NO_JSON = 7013,       /* JSON could not be built or written */
  PERM_NOT_WRITTEN = 7014,   /* file writing failed */
  PERM_UNKNOWN_APP = 7015,   /* appid, or the caller's user id, is not in the table */
  PERM_NOT_GRANTED = 7016,   /* ability not granted to this appid */
  PERM_NO_PACKAGES = 7018,   /* package file does not exist */
  PERM_NOT_RESERVED = 7019,  /* reserved plug-ins could not be set up */
  PERM_ALREADY_THERE = 7021, /* appid is in the table already */
  PERM_MALFORMED = 7022      /* JSON of another shape than the file's format */
};

/* Ability n is bit n - 1 of a plug-in's abilitybits. */
enum perm_ability {
  ability_download = 1,
  ability_cloud_communication = 2,
  ability_control_device = 3,
  ability_notify_send = 4,
  ability_notify_rcv = 5,
  ability_system = 6,
  ability_wan = 7,
  ability_wifi = 8,
  ability_station = 9,
  ability_qos = 10,
  ability_firewall = 11,
  ability_senior = 12,
  ability_safe = 13,
  ability_disk = 14,
  ability_control_plug = 15
};

#define PERM_ABILITY_COUNT 15 /* abilities are 1 to this */
#define PERM_APPID_SIZE 64    /* an appid with its NUL */
#define PERM_ABILITY_SLOTS 32 /* ability descriptions in the table */
#define PERM_PLUGIN_SLOTS 100 /* plug-ins in the table */

/* The reserved plug-ins, which perm_init adds. */
#define PERM_DAEMON_APPID "1"  /* the system's daemon */
#define PERM_MANAGER_APPID "2" /* the package manager */

/* ---- The shared table: a binary format, the same on every machine -------------------------------------- */

/* Texts are NUL-terminated inside their fields; labels and descriptions are GB2312. */
typedef struct perm_ability_info {
  int32_t permid; /* ability number */
  int32_t level;  /* stored, not consulted */
  char permname[64];
  char permlabel[64];
  char permdescription[128];
} perm_ability_info;

/* One plug-in, as callers hand it to updates. */
typedef struct perm_plugin_info {
  uint32_t uid; /* Unix user id the plug-in runs under */
  char appid[PERM_APPID_SIZE];
  char appname[64];
  uint32_t abilitybits;
} perm_plugin_info;

/* The same behind a word that tells whether the slot is taken. */
typedef struct perm_plugin_slot {
  int32_t used; /* 1, or 0 in a free slot, which is all zeros */
  uint32_t uid;
  char appid[PERM_APPID_SIZE];
  char appname[64];
  uint32_t abilitybits;
} perm_plugin_slot;

/* All of it. */
typedef struct perm_table {
  int32_t semid;        /* the semaphore set that guards the table */
  int32_t plugin_count; /* slots in use; they need not be the first ones */
  perm_ability_info abilities[PERM_ABILITY_SLOTS];
  perm_plugin_slot plugins[PERM_PLUGIN_SLOTS];
} perm_table;

/* ---- Queries, for plug-ins ----------------------------------------------------------------------------- */

/* Finds the caller's appid by its real user id (the first slot in order, so root is normally "1").
 * appid    receives the appid; PERM_APPID_SIZE bytes. Untouched on failure, and also if the table's count
 *          promises more slots than there are, which gives 0: clear it before the call.
 * Returns  0, 7001, 7003, 7004 or 7015.
 * Threads  any; waits for the table's semaphore, takes no other lock. */
ZEL_API int perm_get_id(char* appid);

/* Tells whether an appid holds an ability.
 * ability  1 to 15 (enum perm_ability)
 * appid    decimal digits only
 * Returns  0 if it does; 7001, 7003, 7004, 7015 or 7016. A character that is no digit is logged at level 7.
 * Threads  as perm_get_id. */
ZEL_API int perm_check(uint32_t ability, const char* appid);

/* ---- Filling the table, for the router's management programs ------------------------------------------- */

/* Builds the table from /etc/norva/permissions.json, which is written with the default abilities if
 * it is missing, and /etc/norva/packages.json, which may be missing; then adds the reserved plug-ins "1"
 * (DAEMON) and "2" (NPKG) if they are not listed. Call it once at boot, before any plug-in runs: it clears
 * the table and takes no lock. A malformed file ends it; what was stored until then stays. Plug-ins that find no room,
 * and so do reserved ones then, are left out without a word: a change of the table drops them from the file.
 * Returns  0, 7002, 7003, 7004, 7006, 7007 or 7019. */
ZEL_API int perm_init(void);

/* ---- Changing the table while the router runs, for the same programs ----------------------------------- */

/* Each call takes the table's semaphore, changes one slot and, still holding it, writes the whole table to
 * /etc/norva/packages.json, so that the next perm_init finds the same plug-ins. Meanwhile queries wait, as long
 * as the disk takes.
 *
 * The file is written beside itself, flushed to the disk and moved into place. It keeps its mode and owner (so
 * the caller must be allowed to give them: run as root), and a symbolic link stays one; other hard links keep the
 * old content, and access-control lists are not carried over. A kill, a power cut or a full disk leaves the file
 * as it was or as it shall be, and the semaphore free. A slot and the table's count change together or not at all
 * (in a process that has no descriptor left, a kill at that very moment may halve the change).
 *
 * Call them after a perm_init that gave 0 only. A table that was never filled, or only as far as a malformed file
 * could be read, lacks plug-ins, and the file would lose them too.
 *
 * 7014 means that the table was changed but the file may not be: it is as it was, or, if only the flush of its
 * folder failed, it has the change, which a power cut may undo. (Instead of a file, a device say, it is written to
 * as it is and may have a part.) The change is in force until the next boot; the process's
 * next call writes it too, also one that only repeats the change: its result is then what a repeated change gives (0,
 * 7015 or 7021), or 7014 if the writing fails again. In another process the next call that changes anything does, or
 * perm_common_write_pluginfo.
 *
 * plugin   its texts are NUL-terminated inside their fields; copied, may go after the call
 * Threads  any; wait for the table's semaphore, take no other lock. Nothing is logged but the failures of 7003
 *          and 7004. */

/* Adds a plug-in in the first free slot. When no slot is free nothing is added, and the result is 0 all the same.
 * Returns  0, 7001, 7003, 7004, 7014, or 7021 with nothing changed. */
ZEL_API int perm_insert(const perm_plugin_info* plugin);

/* Removes the plug-in of that appid.
 * Returns  0, 7001, 7003, 7004, 7014, or 7015 with nothing changed; 0 without removing anything if the table's
 *          count promises more slots than there are. */
ZEL_API int perm_delete(const char* appid);

/* Replaces all that is stored of the plug-in with the record's appid. If record and slot are the same byte for
 * byte (also behind the texts' ends) nothing is written.
 * Returns  0, 7001, 7003, 7004, 7014, or 7015 with nothing changed; 0 without a change if the table's count
 *          promises more slots than there are. */
ZEL_API int perm_update(const perm_plugin_info* plugin);

/* ---- Steps of the above, exported for the same programs ------------------------------------------------ */

/* Creates or opens the semaphore set and sets semaphore 0 to 1. Returns its id, or -1 (logged at level 7). */
ZEL_API int perm_common_sem_init(void);

/* Take and give semaphore 0 of the set; the kernel gives it back if the process dies. Return 0, or -1 with errno, also
 * when a signal ends the wait (EINTR): call again then. */
ZEL_API int perm_common_sem_p(int semid);
ZEL_API int perm_common_sem_v(int semid);

/* Creates or finds the shared segment. Returns its id, or -1 (logged at level 7). */
ZEL_API int perm_common_shm_init(void);

/* Attaches the segment, readable and writable. Returns the table, or null (logged at level 7). */
ZEL_API perm_table* perm_common_shm_map(int shmid);

/* Detaches a table that perm_common_shm_map gave. Returns 0, or -1 (logged at level 7). */
ZEL_API int perm_common_shm_unmap(const perm_table* table);

/* Makes sure that the permission file exists, then reads it. Returns 0, 7001 (null table), 7014 or 7012. */
ZEL_API int perm_common_analyze_permission(perm_table* table);

/* Reads the package file; a missing one is no error. Returns 0, 7001 (null table) or 7012. */
ZEL_API int perm_common_analyze_pluginfo(perm_table* table);

/* Read a file into the table: element i of its array goes to place i, as far as the table reaches. Texts are
 * cut to their fields. The process needs write permission on the file. What stands before a malformed element
 * stays stored.
 * Return   0, 7001, 7008, 7009, 7010, 7011 or 7022; the package reader also 7018. */
ZEL_API int perm_common_read_permission_file(perm_table* table);
ZEL_API int perm_common_read_plugin_file(perm_table* table);

/* Writes the default permission file: one that is there is emptied first; one that is missing appears whole or, on
 * failure, not at all. Returns 0, 7008 or 7013. */
ZEL_API int perm_common_write_permissioninfo(void);

/* Writes the used slots to the package file, as the changes above do; hold the table's semaphore. After a failure
 * the file is as after 7014 there.
 * Returns 0, 7001 (null), 7008 (the new file could not be made, or the old one is not ours to write) or 7013. */
ZEL_API int perm_common_write_pluginfo(const perm_table* table);

/* Adds the reserved plug-ins that the table lacks, as far as slots are free. Returns 0, or 7001 (null). */
ZEL_API int perm_common_system_app_uid_by_appid(perm_table* table);

ZEL_EXTERN_C_END

#endif
