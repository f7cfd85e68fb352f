#include "router/client.h"

#include <zel/http.h>
#include <zel/util.h>

#include <cstring>

#include "base/qo_level.h"

// Both forms of a message, written once.
#define REPORT(reporter, level, who, text, ...)           \
  do {                                                    \
    if ((reporter).response == nullptr) {                 \
      ROUTER_PRINT(who, text "\n", ##__VA_ARGS__);        \
    } else {                                              \
      QO_Log((level), "[%s]" text, (who), ##__VA_ARGS__); \
    }                                                     \
  } while (0)

namespace {

constexpr char kPrefix[] = "http://" ZEL_ROUTER_HOST ":14000/api?method=";

static_assert(ZEL_HTTP_RESULT_SIZE <= sizeof(zel::router_api_request::response));

// What a message tells of an item.
class Item {
 public:
  Item(zel::Reporter reporter, const cJSON* item) noexcept : response_(reporter.response) {
    snprintf(address_, sizeof address_, "%p", static_cast<const void*>(item));
  }
  const char* text() const noexcept { return response_ != nullptr ? response_ : address_; }

 private:
  const char* const response_;
  char address_[24];
};

// "WAN_TYPE" and "WAN_Type" are different members: neither may stand in for the other.
bool has_namesake(const char* key) noexcept {
  return qo_strcasecmp(key, "WAN_TYPE") == 0;
}

}  // namespace

namespace zel {

const cJSON* get_cjson_item(const cJSON* object, const char* key, JsonType type, Reporter reporter) {
  const cJSON* const item =
      has_namesake(key) ? json_exact_member(object, key, type) : json_member(object, key, type);
  if (item == nullptr) {
    REPORT(reporter, kQoWarning, __func__, "parse type[%d] key[%s] FAIL! res[%s]", static_cast<int>(type),
           key, Item(reporter, object).text());
  }
  return item;
}

int parse_response_header(const cJSON* root, Envelope* envelope, Reporter reporter) {
  const Item shown(reporter, root);
  const cJSON* const header = json_member(root, "ResponseHeader", kJsonObject);
  if (header == nullptr) {
    REPORT(reporter, kQoWarning, __func__, "parse ReponseHeader FAIL! res[%s]",
           shown.text());  // Kept: spelled so.
    return kNoHeader;
  }
  const cJSON* const error_code = json_member(header, "ErrorCode", kJsonNumber);
  if (error_code == nullptr) {
    REPORT(reporter, kQoWarning, __func__, "parse ErrorCode FAIL! res[%s]", shown.text());
    return kNoErrorCode;
  }
  const cJSON* const error_msg = json_member(header, "ErrorMsg", kJsonString);
  if (error_msg == nullptr) {
    REPORT(reporter, kQoWarning, __func__, "parse ErrorMsg FAIL! res[%s]", shown.text());
    return kNoErrorMsg;
  }
  if (error_code->valueint != 0) envelope->error_msg = error_msg;
  envelope->error_code = error_code->valueint;
  return 0;
}

int Exchange::add_method(const char* method) {
  constexpr int kSize = sizeof request_.url;
  const int used = request_.url_len;
  if (used >= kSize - 1) {
    ROUTER_PRINT(__func__, "add_method[%s] to req_url[%s] error!\n", method, request_.url);
    return used;
  }
  snprintf(request_.url + used, static_cast<size_t>(kSize - used), "%s%s", kPrefix, method);
  request_.url_len = static_cast<int32_t>(strlen(request_.url));
  return request_.url_len;
}

int Exchange::excute_http_get() {
  return execute(__func__, kForQuery);
}

int Exchange::excute_http_get_for_dns() {
  return execute(__func__, kForDns);
}

int Exchange::execute(const char* who, const Patience& patience) {
  if (request_.url_len < 1) return -1;
  REPORT(reporter_, kQoDebug, who, "req buffer[%s]", request_.url);
  if (HttpGet(request_.response, request_.url, patience.seconds, patience.attempts) == 0) return 0;
  REPORT(reporter_, kQoWarning, who, "HttpGet excute FAIL! req_url[%s]", request_.url);
  return -2;
}

bool Exchange::parse_answer() {
  root_.reset(cJSON_Parse(request_.response));
  if (json_type(root_.get()) != kJsonObject) {
    REPORT(reporter_, kQoWarning, who_, "HttpGet res[%s] parse FAIL!", request_.response);
    return false;
  }
  if (parse_response_header(root_.get(), &envelope_, reporter_) != 0 || envelope_.error_code != 0) {
    REPORT(reporter_, kQoWarning, who_, "res parse FAIL or error_code nonzero!");
    return false;
  }
  return true;
}

int Exchange::open() {
  if (parse_answer()) return 0;
  const bool prints = reporter_.response == nullptr;
  if (prints && envelope_.error_msg != nullptr) printf("[%s]%s\n", who_, envelope_.error_msg->valuestring);
  return envelope_.error_code != 0 ? envelope_.error_code : -1;
}

int Exchange::run(const char* method) {
  add_method(method);
  return excute_http_get() == 0 ? open() : -1;
}

}  // namespace zel
