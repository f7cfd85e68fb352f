#include "bare_exchange.h"

#include <libubox/blobmsg.h>
#include <libubus.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

static void take_answer(struct ubus_request* request, int type, struct blob_attr* reply) {
  static const struct blobmsg_policy policy[] = {{.name = "description", .type = BLOBMSG_TYPE_STRING}};
  struct blob_attr* description = NULL;
  (void)type;
  blobmsg_parse(policy, 1, &description, blob_data(reply), (unsigned int)blob_len(reply));
  if (description != NULL) *(char**)request->priv = strdup(blobmsg_get_string(description));
}

char* bare_exchange(const char* target, const char* message) {
  char* answer = NULL;
  char name[64];
  uint32_t object = 0;
  struct blob_buf request = {0};
  struct ubus_context* const bus = ubus_connect(NULL);
  if (bus == NULL) return NULL;
  snprintf(name, sizeof name, "zel_%s", target);
  if (ubus_lookup_id(bus, name, &object) == 0) {
    blob_buf_init(&request, 0);
    blobmsg_add_string(&request, "msg", message);
    ubus_invoke(bus, object, "send_cmd", request.head, take_answer, &answer, 8000);
    blob_buf_free(&request);
  }
  ubus_free(bus);
  return answer;
}
