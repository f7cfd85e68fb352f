/* The headers as C99, innermost first; the test includes them as C++ in another order. */
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

static const struct blobmsg_policy policy[] = {{.name = "a", .type = BLOBMSG_TYPE_INT32},
                                               {.name = "b", .type = BLOBMSG_TYPE_STRING}};

static const struct ubus_method methods[] = {
    UBUS_METHOD("plain", nothing, policy), UBUS_METHOD_NOARG("noarg", nothing),
    UBUS_METHOD_MASK("mask", nothing, policy, 2), UBUS_METHOD_TAG("tag", nothing, policy, UBUS_TAG_ADMIN),
    UBUS_METHOD_TAG_NOARG("tag_noarg", nothing, UBUS_TAG_PRIVATE)};

static struct ubus_object_type type = UBUS_OBJECT_TYPE("c99", methods);

struct ubus_object_type* c99_type(void);
struct ubus_object_type* c99_type(void) {
  return &type;
}

int c99_sum(struct blob_attr* message);
int c99_sum(struct blob_attr* message) {
  struct blob_attr* field;
  int rem;
  int sum = 0;
  blobmsg_for_each_attr(field, message, rem) sum += (int)blobmsg_get_u32(field);
  return sum;
}
