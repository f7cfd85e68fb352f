#include "router/client.h"

#include <zel/http.h>

#include <cstring>

namespace {

using zel::router_api_request;

constexpr char kPrefix[] = "http://" ZEL_ROUTER_HOST ":14000/api?method=";

static_assert(ZEL_HTTP_RESULT_SIZE <= sizeof(router_api_request::response));

int execute(const char* who, router_api_request* request, int timeout_s, int attempts) {
  if (request == nullptr || request->url_len < 1) return -1;
  ROUTER_PRINT(who, "req buffer[%s]\n", request->url);
  if (HttpGet(request->response, request->url, timeout_s, attempts) == 0) return 0;
  ROUTER_PRINT(who, "HttpGet excute FAIL! req_url[%s]\n", request->url);
  return -2;
}

}  // namespace

namespace zel {

int add_method(router_api_request* request, const char* method) noexcept {
  constexpr int kSize = sizeof request->url;
  const int used = request->url_len;
  if (used >= kSize - 1) {
    ROUTER_PRINT(__func__, "add_method[%s] to req_url[%s] error!\n", method, request->url);
    return used;
  }
  snprintf(request->url + used, static_cast<size_t>(kSize - used), "%s%s", kPrefix, method);
  request->url_len = static_cast<int32_t>(strlen(request->url));
  return request->url_len;
}

int excute_http_get(router_api_request* request) noexcept {
  return execute(__func__, request, 10, 1);
}

int excute_http_get_for_dns(router_api_request* request) noexcept {
  return execute(__func__, request, 16, 2);
}

int parse_response_header(const cJSON* root, int* code, const cJSON** message) noexcept {
  const void* const shown = root;
  const cJSON* const header = json_member(root, "ResponseHeader", kJsonObject);
  if (header == nullptr) {
    ROUTER_PRINT(__func__, "parse ReponseHeader FAIL! res[%p]\n", shown);  // Kept: spelled so.
    return kNoHeader;
  }
  const cJSON* const error_code = json_member(header, "ErrorCode", kJsonNumber);
  if (error_code == nullptr) {
    ROUTER_PRINT(__func__, "parse ErrorCode FAIL! res[%p]\n", shown);
    return kNoErrorCode;
  }
  const cJSON* const error_msg = json_member(header, "ErrorMsg", kJsonString);
  if (error_msg == nullptr) {
    ROUTER_PRINT(__func__, "parse ErrorMsg FAIL! res[%p]\n", shown);
    return kNoErrorMsg;
  }
  if (error_code->valueint != 0) *message = error_msg;
  *code = error_code->valueint;
  return 0;
}

const cJSON* get_cjson_item(const cJSON* object, const char* key, JsonType type) noexcept {
  const cJSON* const item = json_member(object, key, type);
  if (item == nullptr) {
    ROUTER_PRINT(__func__, "parse type[%d] key[%s] FAIL! res[%p]\n", static_cast<int>(type), key,
                 static_cast<const void*>(object));
  }
  return item;
}

bool parse_answer(const char* who, const char* response, Answer* answer) noexcept {
  answer->root.reset(cJSON_Parse(response));
  if (json_type(answer->root.get()) != kJsonObject) {
    ROUTER_PRINT(who, "HttpGet res[%s] parse FAIL!\n", response);
    return false;
  }
  if (parse_response_header(answer->root.get(), &answer->error_code, &answer->error_msg) != 0 ||
      answer->error_code != 0) {
    ROUTER_PRINT(who, "res parse FAIL or error_code nonzero!\n");
    return false;
  }
  return true;
}

bool Query::fetch(const char* method) noexcept {
  add_method(&request_, method);
  return excute_http_get(&request_) == 0;
}

int Query::open() noexcept {
  if (parse_answer(who_, request_.response, &answer_)) return 0;
  if (answer_.error_msg != nullptr) printf("[%s]%s\n", who_, answer_.error_msg->valuestring);
  return answer_.error_code != 0 ? answer_.error_code : -1;
}

}  // namespace zel
