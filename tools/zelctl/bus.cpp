#include "bus.h"

#include <endian.h>
#include <unistd.h>
#include <zel/service.h>

#include "ending.h"
#include "failure.h"
#include "numbers.h"
#include "plugin_user.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr unsigned kConnectSeconds = 5;
constexpr int kDeepest = 32;  // lists inside one another, of a sender that is not to be trusted
constexpr int64_t kExact = 9007199254740992;    // cJSON has every whole number up to here
constexpr int kDouble = BLOBMSG_TYPE_INT8 + 1;  // the bus libraries of 2014 have no name for it

constexpr const char* kShowMethods = "What it takes: zelctl bus list -v OBJECT";
constexpr struct {
  int status;
  Exit exit;
  const char* advice;
} kStatuses[] = {
    {UBUS_STATUS_INVALID_ARGUMENT, kFailed, kShowMethods},
    {UBUS_STATUS_METHOD_NOT_FOUND, kNo, kShowMethods},
    {UBUS_STATUS_NOT_FOUND, kNo, "What there is: zelctl bus list"},
    {UBUS_STATUS_PERMISSION_DENIED, kNotPermitted,
     "Run it as root. Other users need an access list: see /usr/share/acl.d"},
    {UBUS_STATUS_TIMEOUT, kTimedOut, "More time: --timeout S. Who else calls it: zelctl bus monitor"},
};

void add_number_field(blob_buf* buffer, const char* name, const cJSON* number) {
  bool exact = false;
  const int64_t whole = whole_number(number, -kExact, kExact, &exact);
  if (!exact && (whole == kExact || whole == -kExact))
    fail(kUsage, "Whole numbers are exact up to 9007199254740992.", "JSON: the number \"%s\" is too large",
         name);
  if (!exact) {
    const uint64_t bits = htobe64(double_bits(number));
    blobmsg_add_field(buffer, kDouble, name, &bits, sizeof bits);
  } else if (whole == static_cast<int32_t>(whole)) {
    blobmsg_add_u32(buffer, name, static_cast<uint32_t>(whole));
  } else {
    blobmsg_add_u64(buffer, name, static_cast<uint64_t>(whole));
  }
}

void add_field(blob_buf* buffer, const cJSON* item) {
  const char* const name = item->string;
  if (is(item, cJSON_Number)) return add_number_field(buffer, name != nullptr ? name : "", item);
  if (is(item, cJSON_String)) {
    blobmsg_add_string(buffer, name, item->valuestring);
  } else if (is(item, cJSON_True | cJSON_False)) {
    blobmsg_add_u8(buffer, name, is(item, cJSON_True) ? 1 : 0);
  } else if (is(item, cJSON_NULL)) {
    blobmsg_add_field(buffer, BLOBMSG_TYPE_UNSPEC, name, nullptr, 0);
  } else {
    void* const inner = blobmsg_open_nested(buffer, name, is(item, cJSON_Array));
    const cJSON* element = nullptr;
    cJSON_ArrayForEach(element, item) add_field(buffer, element);
    blob_nest_end(buffer, inner);
  }
}

int16_t short_of(const uint8_t* bytes) {
  return static_cast<int16_t>(bytes[0] << 8 | bytes[1]);
}

void add_run(cJSON* json, const blob_attr* container, int depth);

cJSON* value_of(const blob_attr* field, int depth) {
  auto* const attribute = const_cast<blob_attr*>(field);
  switch (blobmsg_type(field)) {
    case BLOBMSG_TYPE_STRING:
      return cJSON_CreateString(readable(blobmsg_get_string(attribute), "\t\r\n").c_str());
    case BLOBMSG_TYPE_INT8:
      return cJSON_CreateBool(blobmsg_get_u8(attribute));
    case BLOBMSG_TYPE_INT16:
      return exact(short_of(static_cast<const uint8_t*>(blobmsg_data(attribute))));
    case BLOBMSG_TYPE_INT32:
      return exact(static_cast<int32_t>(blobmsg_get_u32(attribute)));
    case BLOBMSG_TYPE_INT64:
      return exact(static_cast<int64_t>(blobmsg_get_u64(attribute)));
    case kDouble:
      return number_from_bits(blobmsg_get_u64(attribute));
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE: {
      cJSON* const inner =
          blobmsg_type(field) == BLOBMSG_TYPE_ARRAY ? cJSON_CreateArray() : cJSON_CreateObject();
      if (depth < kDeepest) add_run(inner, field, depth + 1);
      return inner;
    }
    default:
      return cJSON_CreateNull();
  }
}

void add_run(cJSON* json, const blob_attr* container, int depth) {
  const blob_attr* field = nullptr;
  size_t left = 0;
  blobmsg_for_each_attr(field, container, left) {
    if (!blobmsg_check_attr(field, false)) continue;
    cJSON* const value = value_of(field, depth);
    require_memory(value);
    if (is(json, cJSON_Array))
      cJSON_AddItemToArray(json, value);
    else
      cJSON_AddItemToObject(json, readable(blobmsg_name(field)).c_str(), value);
  }
}

Limit broker_patience() {
  return Limit(kConnectSeconds, "It is stopped or hangs: look for ubusd in ps, and start it again.",
               "the bus's broker took the connection and stayed silent for %u s", kConnectSeconds);
}

}  // namespace

BusLink connect_bus() {
  const Limit limit = broker_patience();
  BusLink bus(ubus_connect(nullptr));
  if (bus) return bus;
  const std::string account = missing_account();
  if (!account.empty())
    fail(kNotPermitted,
         "Give the user and its group a name in /etc/passwd and /etc/group, or run it as root.",
         "the bus's broker sends this user away: %s", account.c_str());
  fail(kFailed, "Is the broker, ubusd, running? On a PC there is one in a router box.", "there is no bus");
}

int start_service(const char* name) {
  const Limit limit = broker_patience();
  return zel_service_init_dbg(name);
}

int look_up(ubus_context* bus, const char* object, uint32_t* id) {
  *id = 0;
  const int status = ubus_lookup_id(bus, object, id);
  return status == 0 && *id == 0 ? UBUS_STATUS_PERMISSION_DENIED : status;
}

int look_up(const char* object) {
  const BusLink bus = connect_bus();
  uint32_t id;
  return look_up(bus.get(), object, &id);
}

void require_success(int status, const char* what) {
  if (status == 0) return;
  Exit exit = kFailed;
  const char* advice = "What is wrong: zelctl doctor";
  for (const auto& row : kStatuses) {
    if (row.status != status) continue;
    exit = row.exit;
    advice = row.advice;
  }
  fail_with(status, exit, advice, "%s: %s", what, ubus_strerror(status));
}

Message::Message() {
  if (blob_buf_init(&buffer_, 0) != 0) require_memory(nullptr);
}

void Message::add(const cJSON* object) {
  const cJSON* item = nullptr;
  cJSON_ArrayForEach(item, object) add_field(&buffer_, item);
}

void add_fields(cJSON* object, const blob_attr* message) {
  if (message != nullptr) add_run(object, message, 0);
}

}  // namespace zelctl
