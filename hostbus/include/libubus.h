/* libubus.h: the client side of the bus.
 *
 * Results   0 or a code of enum ubus_msg_status. Functions that ask the broker or another client return the
 *           status it sent, as int (a handler's -1 arrives as -1). In addition:
 *             2   nothing was sent: message over 1048576 bytes, bad argument, or the broker is gone
 *             7   no status within the timeout
 *             10  the broker went away during the wait
 *             11  no memory
 * Waiting   such functions block. ubus_invoke takes milliseconds: 0 waits without limit, a negative number
 *           times out at once after sending. ubus_connect waits five seconds for the broker's greeting
 *           (the router's library: without limit). The others wait without limit.
 * Memory    messages handed in are copied before the call returns and may be empty; the attribute's own id
 * does not matter. Objects, event handlers and requests belong to the caller and must stay in place while
 *           they are known to the context. Pointers given to callbacks are valid until the callback returns.
 * Threads   one thread at a time in a context; different contexts are independent.
 * Callbacks while a synchronous call waits or a handler runs (stack_depth above 0), incoming calls and events
 *           are queued. They run, oldest first, when the outermost call ends, before it returns, or in the
 *           next sock.cb. So handlers never nest, and two services that call each other synchronously from
 *           handlers wait for each other until their timeouts.
 * Signals   none is touched; a broken connection raises none. */
#ifndef HOSTBUS_LIBUBUS_H
#define HOSTBUS_LIBUBUS_H

#include <libubox/avl.h>
#include <libubox/blobmsg.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <stdint.h>

#include "ubus_common.h"
#include "ubusmsg.h"

#ifdef __cplusplus
extern "C" {
#endif

struct ubus_context;
struct ubus_context_state;
struct ubus_event_handler;
struct ubus_object;
struct ubus_object_data;
struct ubus_request;
struct ubus_request_data;

typedef void (*ubus_lookup_handler_t)(struct ubus_context* ctx, struct ubus_object_data* obj, void* priv);
typedef int (*ubus_handler_t)(struct ubus_context* ctx, struct ubus_object* obj,
                              struct ubus_request_data* req, const char* method, struct blob_attr* msg);
typedef void (*ubus_state_handler_t)(struct ubus_context* ctx, struct ubus_object* obj);
typedef void (*ubus_event_handler_t)(struct ubus_context* ctx, struct ubus_event_handler* ev,
                                     const char* type, struct blob_attr* msg);
typedef void (*ubus_data_handler_t)(struct ubus_request* req, int type, struct blob_attr* msg);
typedef void (*ubus_fd_handler_t)(struct ubus_request* req, int fd);
typedef void (*ubus_complete_handler_t)(struct ubus_request* req, int ret);

/* Brace initialisers. `policy` and `methods` must be arrays, not pointers. */
#define UBUS_METHOD_FULL(method_name, method_handler, method_policy, policy_count)                 \
  {                                                                                                \
    .name = method_name, .handler = method_handler, .mask = 0, .tags = 0, .policy = method_policy, \
    .n_policy = policy_count                                                                       \
  }

#define UBUS_METHOD(name_, handler_, policy_) UBUS_METHOD_FULL(name_, handler_, policy_, ARRAY_SIZE(policy_))

#define UBUS_METHOD_NOARG(name_, handler_) UBUS_METHOD_FULL(name_, handler_, NULL, 0)

#define UBUS_OBJECT_TYPE(type_name, type_methods) \
  { .name = type_name, .id = 0, .methods = type_methods, .n_methods = ARRAY_SIZE(type_methods) }

/* A method. The handler's result is sent as the call's status. name null takes calls of any name. The policy is
 * published, not enforced; mask and tags are not used here. */
struct ubus_method {
  const char* name;
  ubus_handler_t handler;

  unsigned long mask;
  unsigned long tags;
  const struct blobmsg_policy* policy;
  int n_policy;
};

/* What is published about objects. id is filled in by ubus_add_object. */
struct ubus_object_type {
  const char* name;
  uint32_t id;
  const struct ubus_method* methods;
  int n_methods;
};

/* An object. Zero it and set name, type, methods and n_methods: calls go by methods, the published signature
 * by type->methods. Without name or type it is nameless and reached by its id only. */
struct ubus_object {
  struct avl_node avl;

  const char* name;
  uint32_t id;

  const char* path; /* never set */
  struct ubus_object_type* type;

  ubus_state_handler_t subscribe_cb; /* never called */
  bool has_subscribers;              /* never set */

  const struct ubus_method* methods;
  int n_methods;
};

/* A listener for events. Zero it and set cb. */
struct ubus_event_handler {
  struct ubus_object obj;
  ubus_event_handler_t cb;
};

/* An object as ubus_lookup found it; signature may be null. */
struct ubus_object_data {
  uint32_t id;
  uint32_t type_id;
  const char* path;
  struct blob_attr* signature;
};

struct ubus_acl_key {
  const char* user;
  const char* group;
  const char* object;
};

/* A call being handled: the object's id, the caller's client id, its account names (null from a broker that
 * sends none; valid until the handler returns) and the object's name. */
struct ubus_request_data {
  uint32_t object;
  uint32_t peer;
  uint16_t seq;

  struct ubus_acl_key acl;

  bool deferred; /* the handler's result is not sent */
  int fd;
  int req_fd; /* descriptors are not passed: -1 */
};

/* A request of this client, as data callbacks see it: priv is what the call was given. While a call waits it is
 * in the context's list of requests; connection_lost may end it by setting status_code and status_msg. */
struct ubus_request {
  struct list_head list;

  struct list_head pending;
  int status_code;
  bool status_msg;
  bool blocked;
  bool cancelled;
  bool notify;

  uint32_t peer;
  uint16_t seq;

  ubus_data_handler_t raw_data_cb;
  ubus_data_handler_t data_cb;
  ubus_fd_handler_t fd_cb; /* descriptors are not passed: never called */
  ubus_complete_handler_t complete_cb;

  int fd;

  struct ubus_context* ctx;
  void* priv;
};

/* A connection. Applications use sock (fd to wait on, eof after the broker is gone, cb to process input) and
 * may replace connection_lost. */
struct ubus_context {
  struct list_head requests;
  struct avl_tree objects;
  struct list_head pending;

  struct uloop_fd sock;
  struct uloop_timeout pending_timer;

  uint32_t local_id; /* the HELLO's peer field in wire order; not 0 */
  uint16_t request_seq;
  bool cancel_poll;
  int stack_depth;

  void (*connection_lost)(struct ubus_context* ctx);
  void (*monitor_cb)(struct ubus_context* ctx, uint32_t seq, struct blob_attr* data);

  /* Receive buffer of the router's library; here the state below has it. */
  struct ubus_msghdr_buf msgbuf;
  uint32_t msgbuf_data_len;
  int msgbuf_reduction_counter;

  /* private */
  struct ubus_context_state* state;
};

/* --- connections ---------------------------------------------------------------------------------------- */

/* Connects to the broker at the socket path (null: the usual one) and waits for its greeting.
 * Returns a context for ubus_free, or null on any failure. */
struct ubus_context* ubus_connect(const char* path);

/* Closes the connection and frees the context; null is accepted. Sends nothing, leaves objects alone. */
void ubus_free(struct ubus_context* ctx);

/* The text of a status code; of another number in a buffer that the thread's next such call overwrites. */
const char* ubus_strerror(int error);

/* Serves the connection in uloop. */
static inline void ubus_add_uloop(struct ubus_context* ctx) {
  uloop_fd_add(&ctx->sock, ULOOP_BLOCKING | ULOOP_READ);
}

/* Processes input: queued calls, then frames until the socket is empty - or one frame only, after a
 * synchronous call has set cancel_poll. Returns at once when there is nothing to read; waits in the middle of
 * a frame. After the end of the connection sock.eof is set, and each call runs connection_lost. */
static inline void ubus_handle_event(struct ubus_context* ctx) {
  ctx->sock.cb(&ctx->sock, ULOOP_READ);
}

/* --- objects -------------------------------------------------------------------------------------------- */

/* Publishes an object. On success obj->id, and for a new type obj->type->id, are set and calls reach it.
 * Returns 2 also when the name is taken or not allowed, 5 when the broker gave no id. */
int ubus_add_object(struct ubus_context* ctx, struct ubus_object* obj);

/* Withdraws it. On success obj->id is 0, and so is type->id when the type is gone too. 4: not known. */
int ubus_remove_object(struct ubus_context* ctx, struct ubus_object* obj);

/* Calls cb for each object found: by name, by prefix ("zel_*"), or all (null). 4: none found. */
int ubus_lookup(struct ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv);

/* Stores the last found object's id. *id is untouched on failure and also when 0 came without an object,
 * which a client without rights gets to see: preset it. */
int ubus_lookup_id(struct ubus_context* ctx, const char* path, uint32_t* id);

/* --- calls ---------------------------------------------------------------------------------------------- */

/* Calls a method and waits. cb (may be null) runs for each result, with priv in req->priv; type is 2 and msg
 * may be empty. msg null sends an empty message. timeout in milliseconds, see above. 4: no such object, 3: no
 * such method. fd must be -1: descriptors are not passed, others give 8. */
int ubus_invoke_fd(struct ubus_context* ctx, uint32_t obj, const char* method, struct blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout, int fd);

static inline int ubus_invoke(struct ubus_context* ctx, uint32_t obj, const char* method,
                              struct blob_attr* msg, ubus_data_handler_t cb, void* priv, int timeout) {
  return ubus_invoke_fd(ctx, obj, method, msg, cb, priv, timeout, -1);
}

/* --- answering ------------------------------------------------------------------------------------------ */

/* Sends a result of a call, before its handler returns; any number of times. msg null sends an empty one.
 * Returns 0, 2 when msg is too large, 5 when the write failed. */
int ubus_send_reply(struct ubus_context* ctx, struct ubus_request_data* req, struct blob_attr* msg);

/* --- events --------------------------------------------------------------------------------------------- */

/* Sends an event to all listeners but those of this connection. data must not be null (2).
 * 6: a name beginning with "ubus.", or no right to send. */
int ubus_send_event(struct ubus_context* ctx, const char* id, struct blob_attr* data);

/* Listens for events: by name, or by prefix ("zel.*"). Call again for more patterns.
 * 2: pattern null, 6: pattern empty or no right to listen. */
int ubus_register_event_handler(struct ubus_context* ctx, struct ubus_event_handler* ev, const char* pattern);

/* Ends all its patterns. 4: it had none. */
static inline int ubus_unregister_event_handler(struct ubus_context* ctx, struct ubus_event_handler* ev) {
  return ubus_remove_object(ctx, &ev->obj);
}

/* --- watching --------------------------------------------------------------------------------------------- */

/* Has the broker describe every frame that other clients send and get: ctx->monitor_cb is called for each, with a
 * number that counts them (one that is missing was lost) and a container of the attributes of enum
 * ubus_monitor_attr. Returns 0, 6 without the right to watch, 4 when watching is ended that did not begin. */
int __ubus_monitor(struct ubus_context* ctx, const char* type);

static inline int ubus_monitor_start(struct ubus_context* ctx) {
  return __ubus_monitor(ctx, "add");
}

#ifdef __cplusplus
}
#endif

#endif
