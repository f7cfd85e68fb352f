// Messages of the bus: attributes and fields from outside.
#include <libubox/blobmsg.h>

#include "input.h"

namespace {

constexpr blobmsg_policy kPolicy[] = {{.name = "msg", .type = BLOBMSG_TYPE_STRING},
                                      {.name = "event", .type = BLOBMSG_TYPE_INT32},
                                      {.name = "any", .type = BLOBMSG_TYPE_UNSPEC},
                                      {.name = "number", .type = BLOBMSG_CAST_INT64}};

void walk(blob_attr* field, int depth) {
  if (!blobmsg_check_attr(field, false)) return;
  if (blob_is_extended(field)) read_text(blobmsg_name(field));
  if (blobmsg_type(field) == BLOBMSG_TYPE_STRING && blob_is_extended(field))
    read_text(blobmsg_get_string(field));
  if (blobmsg_type(field) != BLOBMSG_TYPE_TABLE && blobmsg_type(field) != BLOBMSG_TYPE_ARRAY) return;
  blob_attr* child = nullptr;
  size_t rem = 0;
  if (depth == 0) return;
  blobmsg_for_each_attr(child, field, rem) walk(child, depth - 1);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Exact input(text_of(data, size));
  auto* message = reinterpret_cast<blob_attr*>(input.data());
  blob_attr_info rules[16] = {};
  for (unsigned id = 0; id < 16; ++id) rules[id].type = id % BLOB_ATTR_LAST;
  blob_attr* attributes[16] = {};
  blob_parse_untrusted(message, input.size(), attributes, rules, 16);
  if (attributes[BLOB_ATTR_STRING] != nullptr) read_text(blob_get_string(attributes[BLOB_ATTR_STRING]));

  blob_attr* fields[4];
  blobmsg_parse(kPolicy, 4, fields, input.data(), static_cast<unsigned>(input.size()));
  if (fields[0] != nullptr) read_text(blobmsg_get_string(fields[0]));
  if (fields[1] != nullptr) blobmsg_get_u32(fields[1]);
  for (blob_attr* field : fields) {
    if (field != nullptr) walk(field, 8);
  }
  return 0;
}
