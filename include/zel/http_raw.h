/* http_raw.h: an HTTP/1.1 client of separate calls, straight on TCP sockets.
 * Conventions common to all headers are in zel.h.
 *
 * One request and one response without libcurl; all that the calls make lives in one memory pool (mempool.h):
 *
 *     mem_pool* pool = mem_create_pool(4096, NULL, 0);
 *     char *host, *ip = NULL, *path, *request, *response = NULL, *body = NULL;
 *     int port, request_length, response_length = 0, body_length = 0, status;
 *     http_header_elem* headers = NULL;
 *     if (resolve_url(pool, "http://192.168.1.1:8080/state", &host, &ip, &port, &path) == 0 && ip != NULL &&
 *         http_header_list_add_elem(pool, &headers, "Host", host) == 0 &&
 *         generate_http_request(pool, "GET", path, headers, NULL, NULL, 0, &request, &request_length) == 0 &&
 *         http_connect(pool, ip, port, request, request_length, &response, &response_length, 3000) == 0 &&
 *         parse_http_response(pool, response, response_length, &status, NULL, NULL, &body, &body_length, 1) == 0) {
 *       fwrite(body, 1, (size_t)body_length, stdout);
 *     }
 *     mem_destroy_pool(pool);
 *
 * What holds for every call here:
 *  - What a call hands out is memory of the pool and lives as long as that. -1 is also the result when the pool
 *    has no memory left; what the call had handed out before stays valid.
 *  - Lengths are bytes; time-outs are milliseconds, each for one wait.
 *  - Names of headers are compared without regard to the case of ASCII letters.
 *  - A result is a plain number; the codes of http_connect are those of the step that failed, minus 100, 200
 *    or 300.
 *  - Nothing is logged, no state is kept and no lock is taken but a pool's own: any thread may call, with a pool
 *    of its own or one with the `safe` flag.
 *  - A thread that is cancelled (pthread_cancel) while a call of it waits gives back what the call holds.
 *  - Sockets have to be below FD_SETSIZE (1024) to be waited for; the wait for another one fails. */
#ifndef ZEL_HTTP_RAW_H
#define ZEL_HTTP_RAW_H

#include <stddef.h>
#include <zel/export.h>
#include <zel/mempool.h>

ZEL_EXTERN_C_BEGIN

/* The end of a line of a request: CR LF. */
extern ZEL_API const char* const G_HTTP_CRLF;

/* ---- Lists of headers, parameters and form fields -------------------------------------------------------- */

/* One name and value. A list is a pointer to its first element, null when empty, and holds no name twice. An
 * element without name or value (null) is left out wherever a list is written. */
typedef struct http_header_elem {
  const char* name;
  const char* value;
  struct http_header_elem* next;
} http_header_elem;

/* Puts a pair at the head of a list, or, when the list has that name, name and value in the place of that
 * element's.
 * list         address of the list
 * name, value  not copied: they must stay as long as the list is used
 * Returns      0; -1 when an argument is null. Takes memory for an element either way. */
ZEL_API int http_header_list_add_elem(mem_pool* pool, http_header_elem** list, const char* name,
                                      const char* value);

/* Takes the element of that name off a list.
 * Returns 0, also when there is none; -1 when an argument is null. Takes memory for an element too. */
ZEL_API int http_header_list_del_elem(mem_pool* pool, http_header_elem** list, const char* name);

/* ---- Requests -------------------------------------------------------------------------------------------- */

/* Writes a list as a form's body, "name=value&name=value" in the order of the list, which is newest first.
 * Names and values are escaped by escape_uri (util.h) with QO_ESCAPE_ARGS.
 * text     receives the text; it is not terminated
 * length   receives its length; may be null
 * Returns  0; -1 when the list is empty, `pool` or `text` is null, or the length does not fit. */
ZEL_API int http_encode_post_data(mem_pool* pool, const http_header_elem* list, char** text, int* length);

/* Writes a request: the line "METHOD path?name=value&name=value HTTP/1.1", the headers as "name:value" (no blank
 * after the colon), an empty line, the body. Nothing is escaped and no header added, Content-Length neither.
 * method              "GET", "POST" or "PUT", in capitals
 * headers             at least one element
 * parameters          follow the path; null for none
 * body, body_length   null or 0 for none; not changed in any way
 * request             receives the text, terminated after the body
 * request_length      receives its length without the terminator
 * Returns             0; -1 when `pool`, `method`, `path`, `headers`, `request` or `request_length` is null, or the
 *                     body's length is negative or the request's does not fit; -2 when the method is another. */
ZEL_API int generate_http_request(mem_pool* pool, const char* method, const char* path,
                                  const http_header_elem* headers, const http_header_elem* parameters,
                                  const void* body, int body_length, char** request, int* request_length);

/* Takes a URL apart and looks its host up. A "http://" at the start, in small letters, is skipped; any other scheme
 * is taken for a part of the host.
 * host     receives what stands before the first "/", with the port; may be null, then `ip` and `port` receive
 *          nothing
 * ip       receives the host's first address as text, in 32 bytes; left alone when it cannot be found, which is
 *          no failure. May be null, then nothing is looked up.
 * port     receives the number after the first ":" of the host, 80 without one; may be null
 * path     receives the rest from the first "/", "/" without one; may be null
 * Returns  0; -1 when `pool` is null, or `url` null or empty.
 * Threads  blocks while the system's resolver looks the host up. */
ZEL_API int resolve_url(mem_pool* pool, const char* url, char** host, char** ip, int* port, char** path);

/* ---- One exchange ---------------------------------------------------------------------------------------- */

/* Sends a request to a server and receives the response, on a connection of its own.
 * ip, port          IPv4 address in dotted form (names are not looked up), and the port
 * request           `request_length` bytes, sent in one go: what the socket does not take at once is not sent,
 *                   which no result tells. On Ethernet some 75 kilobytes fit.
 * response          receives the whole response, terminated after its last byte; clear it before the call
 * response_length   receives its length; clear it before the call
 * timeout_ms        for the connection and for each wait for data
 * The response is complete when
 *  - the server closes the connection; also before the first byte (length 0) and in the midst of a body;
 *  - its headers are there, and as much of a body as Content-Length says, or at once when that has no value;
 *  - its headers are there without Content-Length, unless Transfer-Encoding is "chunked". A chunked response is
 *    complete only when the server closes: let the request have the header "Connection:close".
 * One that fills 1024 bytes, or 2048, 4096 and so on, to the last byte is complete only with the next byte or the
 * end of the connection.
 * Returns  0; on failure one of these, with `response` and `response_length` as they were:
 *            -1          `pool`, `ip`, `request`, `response` or `response_length` is null, `request_length` not
 *                        above 0, or memory is short
 *            -99         no connection in time
 *            -101        no socket
 *            -102        the connection failed at once
 *            -103        the wait for the connection failed
 *            -104        the socket's error could not be read
 *            error - 200 the connection failed with that error of errno.h (refused: ECONNREFUSED - 200)
 *            -201        the request could not be sent
 *            -301        the socket was unusable
 *            -302        the wait for data failed
 *            -303        no data in time
 *            -304        something came that is no data, or `timeout_ms` is 0
 *            -311        data could not be received, for example because the connection was reset */
ZEL_API int http_connect(mem_pool* pool, const char* ip, int port, const char* request, int request_length,
                         char** response, int* response_length, int timeout_ms);

/* Takes a response apart.
 * response     `length` bytes; changed only by de-chunking
 * status_code  receives the number after the protocol, 0 when there is none
 * version      receives the protocol, "HTTP/1.1" for example, cut to 15 characters; null when the first line is empty.
 *              May be null.
 * headers      the headers are added to this list, so it must hold a list or null: names of up to 63
 *              characters, values of up to 1023, the rest cut off, then without the blanks around them (of
 *              several in front, one goes). Of a repeated header the last value stays. Lines without ":" are
 *              skipped. May be null.
 * body         receives the position in `response` after the first empty line; left alone when there is none
 * body_length  receives the length of the rest; both or neither are stored. Both may be null.
 * dechunk      not 0: when a header says "Transfer-Encoding: chunked", the body is put together in place by
 *              get_chunk_page, and a NUL follows it unless it is empty
 * Returns      0; -1 when `response` or `status_code` is null or `length` not above 0; -2 when there is no end of
 *              a line. */
ZEL_API int parse_http_response(mem_pool* pool, char* response, int length, int* status_code, char** version,
                                http_header_elem** headers, char** body, int* body_length, int dechunk);

/* ---- Chunked bodies -------------------------------------------------------------------------------------- */

/* A chunk is a line with its size in hexadecimal digits (of either case; nothing else may stand on the line), so many
 * bytes, and CR LF. The chunk of size 0 is the last. Sizes are read as by strtol, so blanks before them, even ends of
 * lines, are taken, and a sign and "0x". A size below 0 is as bad as no size, except for get_chunk_size. */

/* Reads the size of the chunk that begins a text.
 * data     receives the position after the line's end, null on failure; may be null
 * Returns  the size (at most INT_MAX, however many digits there are); -1 when there is none, `text` is null or
 *          `length` below 1. */
ZEL_API int get_chunk_size(const char* text, int length, char** data);

/* Puts the data of a body's chunks together at its start, up to the last chunk or the first that is malformed. Of a
 * chunk that runs past the end the bytes that are there count.
 * Returns  the length of the data; 0 when `body` is null or `length` below 1. No NUL is written. */
ZEL_API int get_chunk_page(char* body, int length);

/* Returns 1 when the body has its last chunk and a line end after it, else 0. */
ZEL_API int check_chunk_page_end(const char* body, int length);

/* Returns the number of a body's whole chunks, up to the first that is malformed or runs past the end; the last
 * chunk counts when a line end follows it. */
ZEL_API int get_chunk_num(const char* body, int length);

/* Finds a chunk.
 * index       from 0; that of the last chunk is allowed
 * begin, end  receive the position of the chunk's size and the one after its last line end; may be null
 * Returns     0; -1 when there is no such whole chunk, `body` is null or `length` below 1. */
ZEL_API int get_chunk(const char* body, int length, int index, char** begin, char** end);

/* ---- Sockets --------------------------------------------------------------------------------------------- */

/* Creates a socket, close-on-exec, of the default protocol: socket_create(AF_INET, SOCK_STREAM).
 * Returns it, or -1 with errno set. socket_close closes it. */
ZEL_API int socket_create(int domain, int type);

/* Connects a socket and leaves it in non-blocking mode.
 * ip, port    IPv4 address in dotted form (names are not looked up), and the port
 * timeout_ms  0: a connection that is not there at once is a time-out
 * Returns     0; 1 when the time is over; -1 the socket is negative or `ip` null; -2 the connection failed at once;
 *             -3 the wait failed (also when a signal interrupted it); -4 the socket's error could not be read; or
 *             the socket's error of errno.h - 100. */
ZEL_API int socket_connect(int fd, const char* ip, int port, int timeout_ms);

/* The system's send, except that a connection closed by the peer gives -1 (errno EPIPE) and never the signal
 * SIGPIPE. */
ZEL_API int socket_send(int fd, const void* data, int length, int flags);

/* Waits for data and receives once.
 * buffer   room for `length` bytes
 * Returns  the number of bytes; 0 when the peer has closed; -1 the socket or `length` is negative or `buffer`
 *          null; -2 the wait failed; -3 the time is over; -4 something came that is no data, or `timeout_ms` is 0;
 *          -11 receiving failed (errno is set). A signal does not end the wait. */
ZEL_API int socket_recv(int fd, void* buffer, int length, int timeout_ms);

/* The same until `length` bytes are there; the time counts anew for each wait.
 * Returns  `length`; 0 when `timeout_ms` is 0; -1 to -4 and -11 as socket_recv; -10 when the peer closed before.
 *          On failure it is not told how many bytes came. */
ZEL_API int socket_recv2(int fd, void* buffer, int length, int timeout_ms);

/* The system's close. */
ZEL_API int socket_close(int fd);

ZEL_EXTERN_C_END

#endif
