/* http.h: HTTP transfers.
 * Conventions common to all headers are in zel.h.
 *
 * Three calls make one HTTP request each and leave the answer's body in the caller's buffer:
 *
 *     char answer[ZEL_HTTP_RESULT_SIZE];
 *     if (HttpGet(answer, "http://127.0.0.1:14000/api?method=query_disk_info", 5, 2) == 0) puts(answer);
 *
 * C++ programs may use the class behind them, HttpUploader, which also keeps the answer's header.
 *
 * What holds for every transfer:
 *  - Success is the status 200 of an HTTP/1.0 or HTTP/1.1 answer, read from the header alone. 201, 204, a
 *    redirect or an HTTP/2 answer is a failure. An answer of status 200 whose body breaks off or comes too
 *    slowly is a success with the part of the body that came.
 *  - `timeout` is the time for one attempt from its start to the last byte, in seconds; 0 sets no limit, a
 *    negative one fails without a request.
 *  - `max_retry` is the number of attempts; at least one is made. An attempt that fails, for whatever
 *    reason, is followed by the next at once, so a call takes up to max_retry * timeout seconds.
 *  - A NUL byte that the server sends ends the text, until the next piece of the answer is written over it
 *    and over what followed.
 *  - Redirects are not followed, and nothing is added to libcurl's own request. libcurl's defaults hold for
 *    all else: its certificate check (but see HttpsPostBuffer), its proxy variables.
 *  - Nothing is logged and no lock is held during a transfer. Threads may transfer at the same time, each
 *    with an object of its own. One that is cancelled (pthread_cancel) ends while it waits for the other side,
 *    and gives back what the call holds; so it is for what is built on these calls (router.h, download.h). */
#ifndef ZEL_HTTP_H
#define ZEL_HTTP_H

#include <stdint.h>
#include <zel/export.h>

/* Bytes that `result` of the calls below must hold. */
#define ZEL_HTTP_RESULT_SIZE 10000

/* Characters of an answer's header, and of its body, that an HttpUploader keeps. */
#define ZEL_HTTP_TEXT_MAX 204800

ZEL_EXTERN_C_BEGIN

/* Fetches a URL.
 * result     ZEL_HTTP_RESULT_SIZE bytes. Receives the body of the last attempt, cut to 9,999 characters, also
 *            when the transfer failed (then it is often empty). Untouched when an argument is refused, see
 *            Returns, or memory is short.
 * url        text; the empty text is tried, and fails
 * timeout    seconds for one attempt
 * max_retry  number of attempts
 * Returns    0, or -1: no attempt succeeded, or `result` or `url` is null.
 * Threads    any; blocks. */
ZEL_API int HttpGet(char* result, const char* url, int timeout, int max_retry);

/* Posts bytes to a URL; the content type is libcurl's, application/x-www-form-urlencoded.
 * buffer, length  the bytes and their number; not copied
 * Returns         0, or -1: as HttpGet, or `buffer` is null or `length` 0. */
ZEL_API int HttpPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                           int max_retry);

/* The same with any certificate taken that names the URL's host. A status 302 with a Location is a success
 * here, and `result` then receives the Location's text instead of the body. */
ZEL_API int HttpsPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                            int max_retry);

ZEL_EXTERN_C_END

#ifdef __cplusplus

#include <stddef.h>
#include <stdio.h>

#include <string>

/* Where the body of a POST comes from. A plug-in that wants to send a file sets `mode`, `file` and `length`
 * of a constructed object; no call here does. */
struct UploadSource {
  uint32_t mode;    /* 1: `file`; any other value: `data` */
  const void* data; /* not owned; must stay while it is used */
  uint32_t offset;  /* bytes of `data` that ReadDataCB has handed out */
  uint32_t length;  /* size of the body in bytes; of a file, how many to read at most */
  FILE* file;       /* seekable; closed with the object when `mode` is 1 */
};

/* One URL, with the answer to the latest attempt. The object is large: create it with new. One thread at a
 * time. */
class HttpUploader {
 public:
  std::string reserved_text; /* empty, unused */
  std::string url;
  UploadSource source;

  /* Every header line of every answer of the attempt (100 and 200, say), in order. What finds no room here
   * or in `body` is dropped. */
  char header[ZEL_HTTP_TEXT_MAX + 1];

  /* The body, or the Location that post_https accepted. */
  char body[ZEL_HTTP_TEXT_MAX + 1];

  /* For get. Throws std::invalid_argument when `target`, the URL, is null. */
  ZEL_API explicit HttpUploader(const char* target);

  /* For post and post_https, with the body's size and bytes, which are not copied. Throws
   * std::invalid_argument when `target` is null, else std::runtime_error when `length` is 0 or `buffer`
   * null. */
  ZEL_API HttpUploader(const char* target, uint32_t length, const void* buffer);

  ZEL_API ~HttpUploader();
  HttpUploader(const HttpUploader&) = delete;
  HttpUploader& operator=(const HttpUploader&) = delete;

  /* Transfer `url`, as HttpGet, HttpPostBuffer and HttpsPostBuffer do. They throw no std::exception and may
   * be called again. Posting reads a file once, before the first attempt; a null `file`, or a null `data`
   * with a length, fails without a request.
   * Return  0 or -1; `header` and `body` are those of the last attempt. */
  ZEL_API int get(int timeout, int max_retry);
  ZEL_API int post(int timeout, int max_retry);
  ZEL_API int post_https(int timeout, int max_retry);

  /* The same as GetHttpCode. */
  ZEL_API int AnalyseResult(int follow_redirect);

  /* Judges `header` by its last answer.
   * follow_redirect  1: a status 302 with a "Location:" is a success and its text is put into `body`
   * Returns          0 for success; -1 when a status line is missing, malformed or not of HTTP/1; else the
   *                  status. */
  ZEL_API int GetHttpCode(int follow_redirect);

  /* Empties `header` and `body` and takes the source back to its start: the file unless `mode` is 0.
   * Returns 0. */
  ZEL_API int ReInit();

  /* libcurl's header and write callbacks; `userdata` is the object.
   * Return  size * nmemb, also of bytes that found no room; 0 when `userdata` is null or the product
   *         overflows. */
  ZEL_API static size_t WriteHeaderCB(void* ptr, size_t size, size_t nmemb, void* userdata);
  ZEL_API static size_t WriteBodyCB(void* ptr, size_t size, size_t nmemb, void* userdata);

  /* A read callback for a plug-in's own libcurl transfer; `userdata` is an UploadSource.
   * Returns  the number of bytes put into `ptr`, of a file the number of whole items of `size` bytes; 0 at
   *          the end and for a null `userdata`, file or data. */
  ZEL_API static size_t ReadDataCB(void* ptr, size_t size, size_t nmemb, void* userdata);

  /* Append to `header` and to `body` what there is room for. Return 0. */
  ZEL_API int ReceiveResultHeader(const char* data, size_t length);
  ZEL_API int ReceiveResultBody(const char* data, size_t length);
};

#endif

#endif
