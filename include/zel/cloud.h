/* cloud.h: receiving and sending cloud messages.
 * Conventions common to all headers are in zel.h.
 *
 * A plug-in with ability 2 has one object on the bus, "zel_<appid>", with one method, "send_cmd": text in,
 * text out. The router's cloud link calls it, and so may other plug-ins. The plug-in registers one handler:
 *
 *     static int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
 *       snprintf(reply, size, "got %s", message);
 *       return 0;
 *     }
 *     ...
 *     if (zel_service_init() == 0) zel_cloud_msg_handler_register(answer);
 */
#ifndef ZEL_CLOUD_H
#define ZEL_CLOUD_H

#include <stddef.h>
#include <stdint.h>
#include <zel/export.h>

ZEL_EXTERN_C_BEGIN

struct blob_buf;
struct zel_cloud_msg_ctx;

/* ---- Receiving ----------------------------------------------------------------------------------------- */

/* Answers one message.
 * message      the text; valid until the handler returns
 * length       its length in bytes, without the NUL
 * answer       buffer for the NUL-terminated answer text, all zeros at the call; left so, the answer is ""
 * answer_size  its size in bytes: 4096, so the answer is at most 4095 bytes long
 * Returns      the status of the call on the bus: 0, or a positive number that the caller sees beside the
 *              answer.
 * Threads      the service thread, with the global lock held. It may send (zel_cloud_msg_send) but not to
 *              its own plug-in: that message could only be served by the thread that waits for it. It must
 *              neither throw nor end the thread. */
typedef int (*zel_cloud_msg_handler)(const char* message, uint32_t length, char* answer,
                                     uint32_t answer_size);

/* Sets the plug-in's handler, instead of any earlier one. Messages that arrive before the first are answered
 * with an empty text and status 0; a sender may take that, of a plug-in that has just started, for "not yet".
 * Returns  0; -1 if the handler is null, the object does not exist (zel_service_init comes first), or the
 *          caller's appid is unknown or lacks ability 2. Nothing is logged.
 * Threads  any; takes the global lock. */
ZEL_API int zel_cloud_msg_handler_register(zel_cloud_msg_handler handler);

/* The same without the permission queries, for development. */
ZEL_API int zel_cloud_msg_handler_register_dbg(zel_cloud_msg_handler handler);

/* Creates the object "zel_<appid>"; zel_service_init does this for a plug-in with ability 2. After a release
 * it may be called again; each time takes one of the 16 additions of the loop (zel/service.h), and after the last
 * the object is there without being served.
 * Returns  0; -1 if the appid is unknown or lacks ability 2 (not logged), the bus cannot be reached, or the
 *          name is taken (both logged at level 3).
 * Threads  any; takes the global lock, before a broker that is stopped without limit. */
ZEL_API int zel_cloud_msg_init(void);

/* The same for the object "zel_<name>", without a permission query. Null gives -1. */
ZEL_API int zel_cloud_msg_init_dbg(const char* name);

/* Takes the object off the bus and forgets the handler. Called by a handler, it takes effect for new
 * messages at once, and for the one being answered when its answer is out; until then the object cannot be
 * made again. What came in behind that message is answered with an empty text, for which the broker is given a second
 * at most.
 * Threads  any; takes the global lock, so it waits while a message is being answered. */
ZEL_API void zel_cloud_msg_release(void);

/* Writes "zel_<appid>" with the caller's appid.
 * name, size  output buffer and its size in bytes; longer names are cut
 * Returns     0, or -1 if the appid is unknown (logged at level 3, buffer untouched). */
ZEL_API int zel_cloud_get_object_name(char* name, size_t size);

/* The older way: the rest of the name of a file ".pluginInfo-<rest>" in the parent of the working directory,
 * the last one that the directory lists. In <rest>, "%%" stands for a percent sign, "%m"
 * for errno's text.
 * Returns     0, or -1 if there is none or the directory cannot be read (buffer untouched). */
ZEL_API int zel_cloud_get_object_name_abandon(char* name, size_t size);

/* ---- Sending ------------------------------------------------------------------------------------------- */

/* Sends a message to another plug-in's object and waits up to 8 seconds for the answer. Needs no ability.
 * target   the receiver's appid (any text such that "zel_" + target is an object; cut after 59 bytes)
 * message  the text; its limit is the bus's, 1 MiB with all around it and 256 bytes to spare
 * Returns  the answer's text, allocated: free it with zel_free. Also if the receiver's status is not 0,
 *          which is logged. Null if the receiver is not there or gave no answer (logged at level 3), or an
 *          argument is null (not logged).
 * Threads  any, also a handler; holds the global lock for the whole call: nothing is received meanwhile. So two
 *          plug-ins that send to each other at the same moment wait the 8 seconds for each other. Do not send from a
 *          handler to a plug-in that may be sending to this one: let it note the text and return, and a worker send.
 *              handler:  push(queue, message); return 0;
 *              worker:   while ((text = pop(queue)) != NULL) zel_free(zel_cloud_msg_send(peer, text));
 *          As a thread the worker leaves only the moment in which both workers send; as a process of its own, which
 *          needs no object, it leaves none.
 *          pthread_cancel takes effect after the call, with the lock given back. The wait for a broker that is
 *          stopped has no limit; signals end the process meanwhile as ever. */
ZEL_API char* zel_cloud_msg_send(const char* target, const char* message);

/* ---- State, for debugging ------------------------------------------------------------------------------ */

/* The object's name, its record (null while there is none), the buffer handlers write into, and the reply
 * being built. Written under the global lock. */
extern ZEL_API char zel_object_name[128];
extern ZEL_API struct zel_cloud_msg_ctx* zel_cloud_ctx;
extern ZEL_API char resp_buf[4096];
extern ZEL_API struct blob_buf zel_b;

/* Prints a message buffer's addresses and bytes to standard output, 16 bytes a line. */
ZEL_API void dump_blob_buf(const struct blob_buf* buffer);

ZEL_EXTERN_C_END

#endif
