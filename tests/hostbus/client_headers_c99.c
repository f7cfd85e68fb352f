/* The headers as C99, innermost first, and a type for the service test. */
#include <libubox/avl.h>
#include <libubox/blob.h>
#include <libubox/blobmsg.h>
#include <libubox/list.h>
#include <libubox/uloop.h>
#include <libubox/utils.h>
#include <libubus.h>

static int nothing(struct ubus_context* ctx, struct ubus_object* obj, struct ubus_request_data* req,
                   const char* method, struct blob_attr* msg) {
  (void)ctx, (void)obj, (void)req, (void)method, (void)msg;
  return 0;
}

static const struct blobmsg_policy policy[] = {{.name = "hidden", .type = BLOBMSG_TYPE_STRING},
                                               {.name = "shown", .type = BLOBMSG_TYPE_INT8}};
static const struct ubus_method methods[] = {UBUS_METHOD_MASK("m", nothing, policy, 2)};
struct ubus_object_type c99_type = UBUS_OBJECT_TYPE("t", methods);
