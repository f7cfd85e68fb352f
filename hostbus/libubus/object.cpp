#include "context.h"

namespace hostbus {
namespace {

bool is_known(const ubus_context* ctx, const ubus_object* wanted) {
  const ubus_object* obj = nullptr;
  list_for_each_entry(obj, &ctx->objects.list_head, avl.list) {
    if (obj == wanted) return true;
  }
  return false;
}

void remember(ubus_context* ctx, ubus_object* obj) {
  if (is_known(ctx, obj)) return;
  obj->avl.key = &obj->id;
  list_add_tail(&obj->avl.list, &ctx->objects.list_head);
  ++ctx->objects.count;
}

void forget(ubus_context* ctx, ubus_object* obj) {
  if (!is_known(ctx, obj)) return;
  list_del_init(&obj->avl.list);
  --ctx->objects.count;
}

// One table per method, with the type number of each argument.
void put_signature(Builder* body, const ubus_object_type& type) {
  blob_buf* buf = body->buf();
  void* signature = blob_nest_start(buf, UBUS_ATTR_SIGNATURE);
  body->note(signature != nullptr);
  for (int i = 0; i < type.n_methods; ++i) {
    const ubus_method& method = type.methods[i];
    void* table = blobmsg_open_table(buf, method.name);
    body->note(table != nullptr);
    for (int k = 0; k < method.n_policy; ++k) {
      const blobmsg_policy& argument = method.policy[k];
      body->note(blobmsg_add_u32(buf, argument.name, argument.type) == 0);
    }
    blobmsg_close_table(buf, table);
  }
  blob_nest_end(buf, signature);
}

struct Addition {
  ubus_object* obj;
  bool done;
};

void note_added(ubus_request* req, int, blob_attr* msg) {
  const Attributes attributes = parse_attributes(msg);
  if (attributes[UBUS_ATTR_OBJID] == nullptr) return;
  auto* addition = static_cast<Addition*>(req->priv);
  ubus_object* obj = addition->obj;
  obj->id = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
  if (attributes[UBUS_ATTR_OBJTYPE] != nullptr && obj->type != nullptr) {
    obj->type->id = blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]);
  }
  // At once: calls that arrive before the request is over are served before it returns.
  remember(req->ctx, obj);
  addition->done = true;
}

void note_removed(ubus_request* req, int, blob_attr* msg) {
  const Attributes attributes = parse_attributes(msg);
  auto* obj = static_cast<ubus_object*>(req->priv);
  if (attributes[UBUS_ATTR_OBJTYPE] != nullptr && obj->type != nullptr) obj->type->id = 0;
}

struct Search {
  ubus_lookup_handler_t cb;
  void* priv;
};

void note_found(ubus_request* req, int, blob_attr* msg) {
  const Attributes attributes = parse_attributes(msg);
  for (const auto needed : {UBUS_ATTR_OBJID, UBUS_ATTR_OBJPATH, UBUS_ATTR_OBJTYPE}) {
    if (attributes[needed] == nullptr) return;
  }
  ubus_object_data found{.id = blob_get_u32(attributes[UBUS_ATTR_OBJID]),
                         .type_id = blob_get_u32(attributes[UBUS_ATTR_OBJTYPE]),
                         .path = blob_get_string(attributes[UBUS_ATTR_OBJPATH]),
                         .signature = attributes[UBUS_ATTR_SIGNATURE]};
  const auto* search = static_cast<const Search*>(req->priv);
  if (search->cb != nullptr) search->cb(req->ctx, &found, search->priv);
}

void note_id(ubus_request* req, int, blob_attr* msg) {
  const Attributes attributes = parse_attributes(msg);
  if (attributes[UBUS_ATTR_OBJID] == nullptr) return;
  *static_cast<uint32_t*>(req->priv) = blob_get_u32(attributes[UBUS_ATTR_OBJID]);
}

int look_up(ubus_context* ctx, const char* path, ubus_data_handler_t raw_data_cb, void* priv) {
  Builder body;
  if (path != nullptr) body.put_string(UBUS_ATTR_OBJPATH, path);
  return call(
      ctx,
      {.type = UBUS_MSG_LOOKUP, .peer = 0, .body = body.body(), .raw_data_cb = raw_data_cb, .priv = priv});
}

}  // namespace

ubus_object* find_object(const ubus_context* ctx, uint32_t id) {
  ubus_object* obj = nullptr;
  list_for_each_entry(obj, &ctx->objects.list_head, avl.list) {
    if (obj->id == id) return obj;
  }
  return nullptr;
}

}  // namespace hostbus

using namespace hostbus;

extern "C" {

int ubus_add_object(ubus_context* ctx, ubus_object* obj) {
  Builder body;
  if (obj->name != nullptr && obj->type != nullptr) {
    body.put_string(UBUS_ATTR_OBJPATH, obj->name);
    if (obj->type->id != 0) {
      body.put_u32(UBUS_ATTR_OBJTYPE, obj->type->id);
    } else {
      put_signature(&body, *obj->type);
    }
  }
  const bool was_known = is_known(ctx, obj);
  Addition addition{.obj = obj, .done = false};
  const int status = call(ctx, {.type = UBUS_MSG_ADD_OBJECT,
                                .peer = 0,
                                .body = body.body(),
                                .raw_data_cb = note_added,
                                .priv = &addition});
  if (status == UBUS_STATUS_OK) return addition.done ? UBUS_STATUS_OK : UBUS_STATUS_NO_DATA;
  if (addition.done && !was_known) forget(ctx, obj);
  return status;
}

int ubus_remove_object(ubus_context* ctx, ubus_object* obj) {
  Builder body;
  body.put_u32(UBUS_ATTR_OBJID, obj->id);
  const int status = call(ctx, {.type = UBUS_MSG_REMOVE_OBJECT,
                                .peer = 0,
                                .body = body.body(),
                                .raw_data_cb = note_removed,
                                .priv = obj});
  if (status == UBUS_STATUS_OK) obj->id = 0;
  // An object that the broker does not know gets no calls; the application may free it now.
  if (status == UBUS_STATUS_OK || status == UBUS_STATUS_NOT_FOUND) forget(ctx, obj);
  return status;
}

int ubus_lookup(ubus_context* ctx, const char* path, ubus_lookup_handler_t cb, void* priv) {
  Search search{.cb = cb, .priv = priv};
  return look_up(ctx, path, note_found, &search);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) {
  return look_up(ctx, path, note_id, id);
}

}  // extern "C"
