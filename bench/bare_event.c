#include "bare_event.h"

#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubus.h>
#include <stddef.h>

static void (*tell)(void);

enum { EVENT, SUBEVENT, DATA, FIELDS };
static const struct blobmsg_policy policy[FIELDS] = {{.name = "event", .type = BLOBMSG_TYPE_INT32},
                                                     {.name = "subevent", .type = BLOBMSG_TYPE_INT32},
                                                     {.name = "data", .type = BLOBMSG_TYPE_STRING}};

static void take_event(struct ubus_context* bus, struct ubus_event_handler* handler, const char* type,
                       struct blob_attr* message) {
  struct blob_attr* fields[FIELDS];
  (void)bus, (void)handler, (void)type;
  blobmsg_parse(policy, FIELDS, fields, blob_data(message), (unsigned int)blob_len(message));
  if (fields[EVENT] != NULL && fields[SUBEVENT] != NULL && fields[DATA] != NULL) tell();
}

void bare_hear(void (*report)(void)) {
  static struct ubus_event_handler handler;
  struct ubus_context* bus;
  uloop_init();
  bus = ubus_connect(NULL);
  if (bus == NULL) return;
  handler.cb = take_event;
  tell = report;
  if (ubus_register_event_handler(bus, &handler, "zel.event") != 0) return;
  ubus_add_uloop(bus);
  report();
  uloop_run();
}

int bare_send(const char* text) {
  struct blob_buf message = {0};
  struct ubus_context* const bus = ubus_connect(NULL);
  int result;
  if (bus == NULL) return -1;
  blob_buf_init(&message, 0);
  blobmsg_add_u32(&message, "event", 0);
  blobmsg_add_u32(&message, "subevent", 0);
  blobmsg_add_string(&message, "data", text);
  result = ubus_send_event(bus, "zel.event", message.head);
  blob_buf_free(&message);
  ubus_free(bus);
  return result;
}
