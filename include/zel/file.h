/* file.h: files, paths and file systems.
 * Conventions common to all headers are in zel.h.
 *
 * What holds for every call here:
 *  - No ability is needed, no state is kept and no lock is taken. Any thread may call; each call blocks.
 *  - A null path counts as one that does not exist and null output gets nothing, where a call does not say
 *    otherwise.
 *  - Failures are logged through QO_Log (service.h). With its threshold at load, only messages of level 1 reach
 *    standard error; those below level 4 can be read in errlog_buffer.
 *  - A thread that is cancelled (pthread_cancel) while a call of it waits gives back what the call holds.
 *  - Text returned as new is freed by the caller with free or zel_free. */
#ifndef ZEL_FILE_H
#define ZEL_FILE_H

#include <stddef.h>
#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

/* ---- Copying and moving -------------------------------------------------------------------------------- */

/* Copies a file of any kind but a directory; a symbolic link becomes a link with the same target. All but a link
 * gets the source's times (whole seconds), owner and mode. Where the owner cannot be set, the set-user-ID and
 * set-group-ID bits are left out. That these could not be set is logged only.
 * destination  a regular source overwrites what is there, removing it first if it cannot be opened; any other
 *              source needs a name that is free.
 * Returns      0 when all data has reached the destination's file system and its close succeeded; else -1,
 *              logged at level 1. What was written before a failure stays.
 * Refused are two names of the same file. They count as that when inode number and special-device number are
 * equal, so also, by chance, ordinary files of two file systems with the same inode number. */
ZEL_API int zel_file_copy(const char* source, const char* destination);

/* Renames a file, replacing the destination. Across file systems it is copied by zel_file_copy and the source
 * removed after a copy that succeeded. Returns 0, or -1 (logged at level 1) with the source still there. */
ZEL_API int zel_file_move(const char* source, const char* destination);

/* ---- Downloading --------------------------------------------------------------------------------------- */

/* Called about once a second and at each piece of a download, with libcurl's figures in bytes; a total is 0
 * while it is unknown. Returns 0 to go on; any other number breaks the download off. It must not throw. */
typedef int (*zel_download_progress)(void* data, double total, double now, double upload_total,
                                     double upload_now);

/* Downloads a URL. Redirects are followed; a status of 400 and above is a failure. The data goes to a file beside
 * the destination, named like the URL's last part (an older file of that name is removed first), and is then
 * moved onto it.
 * path      the destination; untouched by a download that fails, unless it has itself the name of the URL's last
 *           part. The file beside it is left with what came.
 * progress  may be null
 * data      handed to `progress`
 * unused    not used
 * timeout   seconds for the whole transfer, 0 or less for no limit; a tenth of it, in whole seconds, for the
 *           connection (below 10: libcurl's own limit)
 * Returns   0, or -1: logged at level 4, and the move as by zel_file_move; unlogged for a null argument and when
 *           memory is short.
 * SIGPIPE is blocked meanwhile, in `progress` too. */
ZEL_API int zel_download_file(const char* url, const char* path, zel_download_progress progress, void* data,
                              int unused, int timeout);

/* ---- MD5 sums ------------------------------------------------------------------------------------------ */

/* The MD5 digest of a file as 32 lower-case hexadecimal digits and a NUL.
 * output   33 bytes; untouched on failure
 * Returns  0, or -1 if the file cannot be opened or read or `output` is null (logged at level 4). */
ZEL_API int zel_check_file_md5(const char* path, char* output);

/* Compares a file's digest with the content of another file, which must be the 32 digits, of either case, and
 * nothing else: no line feed, no NUL. The latter must be writable, too. Returns 0 if they are equal, else -1. */
ZEL_API int zel_check_file_md5_with_md5_file(const char* path, const char* md5_path);

/* ---- Reading and writing whole files ------------------------------------------------------------------- */

/* Writes `length` bytes to the beginning of a file, which is made if need be (mode 0777 less the umask) and not
 * cut: what an older, longer file has behind them stays.
 * Returns  0; -1 if not all could be written or the close failed. */
ZEL_API int zel_save_file(const char* path, const void* bytes, size_t length);

/* Makes the text the whole content of a file. Returns 0; -1 if the file cannot be opened or an argument is
 * null, and only then: a full disk is not reported. */
ZEL_API int zel_save_string_to_file(const char* text, const char* path);

/* A file's content and a NUL as new text, or null if it cannot be opened for reading and writing, has no size (a
 * FIFO), or memory is short. */
ZEL_API char* zel_get_buf_from_file(const char* path);

/* ---- Paths --------------------------------------------------------------------------------------------- */

/* The path without its last part, as new text: "a" for "a/b/", "." for "file", "/" for "/x". Null for null. */
ZEL_API char* zel_dirname(const char* path);

/* Removes all trailing slashes in place, but for a lone "/". Returns the path. */
ZEL_API char* zel_stripslash(char* path);

/* Removes one trailing slash in place. */
ZEL_API void remove_slash(char* path);

/* A symbolic link's target as new text, or null with errno set. */
ZEL_API char* xreadlink(const char* path);

/* Return 1 if the path, or `name` in the directory, exists, else 0.
 * directory  writable, with room for a slash, the name and the NUL, which are put behind it for the test. It is as
 *            before afterwards, except that one trailing slash is gone. 0 if it is empty, and if both have 1023
 *            characters or more together (logged at level 1). */
ZEL_API int isAbsFileExist(const char* path);
ZEL_API int isFileExist(char* directory, const char* name);

/* Returns 1 for a directory that the caller may write to, else 0. One that is none, or that refuses the caller, is
 * logged at level 3. */
ZEL_API int qo_checkDir(const char* path);

/* Returns 1 for a directory that the caller may not write to (logged at level 3), else 0. */
ZEL_API int qo_checkDir_readonly(const char* path);

/* Joins a directory, less one trailing slash, and a file's name by a slash.
 * output   `size` bytes. Emptied for an empty directory or name (logged at level 2); what it holds when there is
 *          not enough room (logged at level 1) is the directory, cut.
 * Returns  1, or 0 for these and for a null argument. */
ZEL_API int qo_abspath_generate(char* output, size_t size, const char* directory, const char* file);

/* Makes every directory of a path that is missing.
 * path     cut to 255 characters
 * mode     of each new one, less the umask
 * Returns  1, also when the last part exists and is no directory; 0 if one could not be made. */
ZEL_API int qo_mkdirp(const char* path, unsigned int mode);

/* Returns 1 if the name ends like a film: m3u8, ts, mp4, rmvb, avi, rm, asf, divx, mpg, mpeg, mpe, wmv, mkv, vob,
 * m2ts behind its last dot, in either case; else 0. The dot and three characters count, so "x.mp4a" and "x.m3u"
 * are films, "x.tsx" is none. */
ZEL_API int is_file_video(const char* name);

/* ---- File systems -------------------------------------------------------------------------------------- */

/* Returns 1 if the program `mount` lists the path, or one that contains it, as of type vfat; else 0. */
ZEL_API int is_type_fat(const char* path);

/* What the router's "norva_db df PATH" prints (found through PATH; a router box has none: put a script there). In
 * commands here and below, a path of letters, digits and "_-./+,:=@%" stands as it is; any other is quoted for the
 * shell. One that begins with "-" gets "./" in front, so that it is no option.
 * buffer   1024 bytes; receives the second line, or the first if there is no second
 * Returns  0 if two lines came, else -1; so too for a command over 511 bytes (logged at level 1). */
ZEL_API int get_df_info(const char* path, char* buffer);

/* Size of the file system that holds a directory, in MiB, from the program `df`. Its output goes through a file
 * in /var, which the caller needs the right to make: where /var is root's, as in a router box, only root can.
 * As system() does, the process ignores SIGINT and SIGQUIT while `df` runs, and the calling thread blocks SIGCHLD.
 * used, total  receive the figures on success only
 * Returns      0 or -1; the reason is logged at level 2, except for output that is no table. */
ZEL_API int getFsSize(const char* path, int64_t* used, int64_t* total);

ZEL_EXTERN_C_END

#endif
