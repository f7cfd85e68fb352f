/* util.h: text and encoding helpers, allocated text, JSON and waiting.
 * Conventions common to all headers are in zel.h; here null pointers are allowed, as told below.
 *
 * What holds for every call here:
 * - Text is NUL-terminated `char`, handled byte by byte; bytes of 128 and above are ordinary bytes and
 *   never letters. Raw data is passed as `void`. "Letters ignoring case" means the 26 ASCII letters,
 *   whatever setlocale() was told.
 * - A `size` is the size of a buffer or a number of bytes, as size_t. A `length` is a number of bytes or
 *   characters, as int; a negative length counts as 0.
 * - Results are the same on 32-bit and 64-bit machines.
 * - The caller supplies every output buffer and makes it large enough: each call says how large. Only
 *   qo_malloc_encode_string and the calls under "Memory" allocate. Input and output must not overlap unless
 *   the call says so.
 * - A null pointer never crashes: where a call does not say otherwise, null input counts as empty, null
 *   output gets nothing.
 * - Nothing is logged, no lock is taken. Every call may be made from any thread at any time;
 *   generate_rand_hex_fill shares the generator of rand() with the rest of the program.
 */
#ifndef ZEL_UTIL_H
#define ZEL_UTIL_H

#include <pthread.h>
#include <stddef.h>
#include <stdint.h>
#include <time.h>

#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

struct cJSON;

/* ---- Case and copies ----------------------------------------------------------------------------------- */

/* The lower-case form of character code c: 'A' to 'Z' become 'a' to 'z'; every other code, negative
 * ones too, is returned as it is. */
ZEL_API int qo_tolower(int c);

/* The upper-case form of character code c: 'a' to 'z' become 'A' to 'Z'; every other code, negative
 * ones too, is returned as it is. */
ZEL_API int qo_oupper(int c);

/* Frees a pointer variable's memory and makes the variable null: `qo_freep(&text)`.
 * pointer_address  address of a pointer variable of any type; the pointer held there came from malloc
 *                  or is null. */
ZEL_API void qo_freep(void* pointer_address);

/* Copies exactly n bytes: does not stop at a NUL and writes no terminator.
 * destination  at least n bytes, and at least 1 byte when the source is null; may overlap the source.
 * source       at least n bytes, or null: then one NUL is written.
 * Returns n + 1 (one more than was copied); 0 when either pointer is null. */
ZEL_API size_t qo_charncpy(char* destination, const char* source, size_t n);

/* Copies text into a buffer, cutting what does not fit.
 * destination  `size` bytes; gets at most size - 1 characters and always a NUL. With size 0 nothing is
 *              written. May overlap the source.
 * source       text; null counts as the empty text.
 * Returns the length of the whole source: a result of size or more means that the text was cut. */
ZEL_API size_t qo_strncpy(char* destination, const char* source, size_t size);

/* Compares two texts ignoring case.
 * Returns 0 when they are equal, else the difference of the first two bytes that differ, lowered and
 * taken as unsigned (negative when a comes first); 1 when either text is null, even when both are. */
ZEL_API int qo_strcasecmp(const char* a, const char* b);

/* Compares at most the first n bytes of two texts, as qo_strcasecmp does. The first byte is always
 * compared: n of 0 works like 1. */
ZEL_API int qo_strncasecmp(const char* a, const char* b, size_t n);

/* Tells whether the text begins with the prefix, ignoring case. The empty prefix begins every text.
 * rest  when not null, receives on a match the position in the text just after the prefix; untouched
 *       otherwise.
 * Returns 1 on a match, else 0; 0 also when text or prefix is null. */
ZEL_API int qo_stristart(const char* text, const char* prefix, const char** rest);

/* Finds the first place of the needle in the haystack, ignoring case.
 * Returns the position in the haystack, the haystack itself for an empty needle, or null when there is
 * none or when either text is null. */
ZEL_API char* qo_stristr(const char* haystack, const char* needle);

/* Returns 1 when the text begins with "http://", ignoring case, else 0. No other scheme counts, https
 * neither. */
ZEL_API int string_is_url(const char* text);

/* ---- Encodings ----------------------------------------------------------------------------------------- */

/* Encodes bytes as base64: letters, digits, "+" and "/", the last group padded with "=". No line
 * breaks, no terminator.
 * source       `length` bytes.
 * destination  4 characters for every 3 bytes begun, (length + 2) / 3 * 4.
 * out_length   receives the number of characters written; may be null.
 * Above 1610612733 bytes the count would not fit an int: nothing is written and out_length gets 0, as
 * with a null source or destination. */
ZEL_API void encode_base64(const void* source, int length, char* destination, int* out_length);

/* Decodes base64 text, up to its length or its first "="; what follows the "=" is ignored. Padding may
 * be missing.
 * source       `length` characters, not necessarily terminated.
 * destination  3 bytes for every 4 characters begun, (length + 3) / 4 * 3, is always enough. No
 *              terminator is written. May be the source itself.
 * out_length   receives the number of bytes written, on success only; may be null.
 * Returns 0, or -1 with nothing written when a character before the first "=" is not of the alphabet
 * (line breaks and blanks are not), when the characters before it leave 1 over after groups of 4, or
 * when there is something to read from or write to a null pointer. */
ZEL_API int decode_base64(const char* source, int length, void* destination, int* out_length);

/* What is escaped, for escape_uri. Every set holds the controls 0x00 to 0x1F and the blank. */
#define QO_ESCAPE_URI 0       /* also # % ? and 0x7F to 0xFF */
#define QO_ESCAPE_ARGS 1      /* also # % & + / : = ? backslash and 0x7F to 0xFF */
#define QO_ESCAPE_HTML 2      /* also " # % ' and 0x7F to 0xFF */
#define QO_ESCAPE_REFRESH 3   /* also " ' and 0x7F to 0xFF */
#define QO_ESCAPE_MEMCACHED 4 /* also % */
#define QO_ESCAPE_MAIL_AUTH 5 /* the same as QO_ESCAPE_MEMCACHED */

/* Percent-escapes the bytes of one set; other bytes are copied.
 * destination  room for size + 2 * (the count that a null destination gives) characters; or null, to
 *              count only. Escapes are "%" and two upper-case hexadecimal digits. No terminator.
 * source       `size` bytes; null counts as empty.
 * type         one of the numbers above; any other number works as QO_ESCAPE_URI.
 * Returns the position after the last character written, as a number (cast it to char*); with a null
 * destination the number of bytes that need escaping. */
ZEL_API uintptr_t escape_uri(char* destination, const char* source, size_t size, unsigned int type);

/* The type bits of unescape_uri. */
#define QO_UNESCAPE_URI 1
#define QO_UNESCAPE_REDIRECT 2

/* Decodes percent escapes.
 * destination  address of the position to write at, where `size` bytes have room; it is moved past what
 *              was written. No terminator. May be the same position as the source.
 * source       address of the position to read at; it is moved past what was read.
 * type         0, or a sum of the bits above (when both are set, escapes are treated as with
 *              QO_UNESCAPE_URI alone):
 *                0                  every escape becomes its byte;
 *                QO_UNESCAPE_URI       decoding ends after a "?", plain or escaped;
 *                QO_UNESCAPE_REDIRECT  the same, and only escapes of the bytes 38 to 126 are decoded; the
 *                                   others stay as they were written.
 * Broken escapes: "%" before something that is no digit is dropped; "%" and one digit before something
 * that is no digit are dropped together with that byte; an unfinished escape at the end is dropped.
 * Nothing happens when an address or a position is null. */
ZEL_API void unescape_uri(char** destination, char** source, size_t size, unsigned int type);

/* Encodes text the way forms are sent: ASCII letters and digits, "-", "_" and "." are copied, a blank
 * becomes "+", every other byte "%" and two upper-case hexadecimal digits.
 * destination  room for length + 2 * (the count that a null destination gives) characters; or null, to
 *              count only. No terminator.
 * source       `length` bytes; null counts as empty.
 * Returns the position after the last character written, as a number (cast it to char*); with a null
 * destination the number of bytes that become three characters. */
ZEL_API uintptr_t url_encode(char* destination, const char* source, int length);

/* Decodes form encoding in place: "+" becomes a blank, "%" with two hexadecimal digits of either case
 * after it within the length becomes that byte, any other "%" stays.
 * text  `length` characters and room for one more: a NUL is written after the result.
 * Returns the length of the result, which may itself hold decoded NULs; 0 for null. */
ZEL_API int url_decode(char* text, int length);

/* The form-encoded text (see url_encode) in new memory.
 * Returns NUL-terminated text that the caller frees with free(); null for null, and when there is not
 * enough memory. */
ZEL_API char* qo_malloc_encode_string(const char* text);

/* The MD5 digest of `length` bytes of data as 32 lower-case hexadecimal digits and a NUL.
 * output  at least 33 bytes; null is returned as null.
 * Returns output. */
ZEL_API char* md5_string(const void* data, int length, char* output);

/* ---- Formatting and parsing ---------------------------------------------------------------------------- */

/* Writes a time as "2024-03-09 07:05:01", in the time zone of the process.
 * seconds      seconds since 1970-01-01 00:00:00 UTC.
 * destination  `size` bytes, 20 for the years 0 to 9999; longer text is cut, a NUL always written
 *              unless size is 0.
 * Returns destination. When the time has no calendar date (64-bit times billions of years away), prints
 * one line to standard output and returns null; destination is untouched then. */
ZEL_API char* time2str(time_t seconds, char* destination, size_t size);

/* Writes a number in decimal.
 * destination  `size` bytes, 12 for every int; longer text is cut, a NUL always written.
 * Returns destination; null when it is null or size is 0, with nothing written. */
ZEL_API char* i2s(int number, char* destination, size_t size);

/* Reads "hours:minutes:seconds". Fields are decimal, may be signed and of any size, and count as 0 from
 * the first one that is missing: "5" is five hours.
 * Returns the number of seconds, at most INT_MAX and at least INT_MIN; 0 for null. */
ZEL_API int parse_time(const char* text);

/* Removes blanks, tabs, carriage returns and line feeds before position `length`, and one such
 * character (only one) at the front.
 * text  `length` characters and room for one more: a NUL is written after the last character kept, at
 *       position `length` when nothing was removed.
 * Returns the position after the first character when that was removed, else text. */
ZEL_API char* trim(char* text, int length);

/* Fills a buffer with random hexadecimal digits 0-9a-f and a NUL. Not fit for secrets: seeds srand()
 * with the time of day and draws from rand(), which also changes what rand() gives the program next.
 * destination  length + 1 bytes. */
ZEL_API void generate_rand_hex_fill(char* destination, int length);

/* ---- Memory -------------------------------------------------------------------------------------------- */

/* A copy of the text in new memory that the caller frees with free(); null for null, and when there is not enough
 * memory. */
ZEL_API char* zel_strdup(const char* text);

/* The C library's realloc, under this name. */
ZEL_API void* xrealloc(void* memory, size_t size);

/* Formats into new memory.
 * text     receives the NUL-terminated text, which the caller frees with free(); what it held is not freed. Null
 *          when there is not enough memory.
 * format   a printf format
 * Returns  the text's length, or -1 with a null text, also for a null format.
 * Where the C library's vsnprintf fails (a wide character without a form in the process's locale, a text over
 * INT_MAX), writes a line to standard error and ends the process with exit status 1. */
ZEL_API int zel_sprintf_alloc(char** text, const char* format, ...) ZEL_PRINTF(2, 3);

/* ---- JSON and waiting ---------------------------------------------------------------------------------- */

/* The member of a cJSON object that has exactly that name or, if there is none, the first with that name ignoring
 * case; null unless it is of the type.
 * type     0 false, 1 true, 2 null, 3 number, 4 string, 5 array, 6 object, whatever cJSON's release
 * Returns  the member, which belongs to the object. */
ZEL_API struct cJSON* zel_get_cjson_item(const struct cJSON* object, const char* key, int type);

/* Waits for a condition variable with a limit counted from now on the system's clock.
 * condition, mutex  as for pthread_cond_timedwait; the condition has the default clock, the mutex is held by the
 *                   caller
 * Returns           the result of pthread_cond_timedwait: 0, or ETIMEDOUT; EINVAL for a null pointer. Negative limits
 *                   are over at once. */
ZEL_API int qo_wait_signal(pthread_cond_t* condition, pthread_mutex_t* mutex, int milliseconds);

ZEL_EXTERN_C_END

#endif
