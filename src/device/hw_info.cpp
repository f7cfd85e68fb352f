// The names of firmware and hardware, asked of the router's management interface.
//
// What goes wrong is logged with QO_Log, where the other queries print, so only their transport is shared.
#include <zel/device.h>
#include <zel/http.h>

#include <cstring>

#include "base/qo_level.h"
#include "router/client.h"

namespace {

using zel::kJsonNumber;
using zel::kJsonObject;
using zel::kJsonString;
using zel::kQoDebug;
using zel::kQoWarning;

constexpr const char* kWho = "zel_get_hw_info_from_fw";

bool fetch(zel::router_api_request* request) {
  if (zel::add_method(request, "query_router_info") < 1) return false;
  QO_Log(kQoDebug, "[%s]req buffer[%s]", "excute_http_get", request->url);
  if (HttpGet(request->response, request->url, 10, 1) == 0) return true;
  QO_Log(kQoWarning, "[%s]HttpGet excute FAIL! req_url[%s]", "excute_http_get", request->url);
  return false;
}

// Returns 0 or -1; with 0, `code` holds the router's error code.
int parse_header(const cJSON* root, const char* response, int* code) {
  const cJSON* const header = zel::json_member(root, "ResponseHeader", kJsonObject);
  const cJSON* const error_code = zel::json_member(header, "ErrorCode", kJsonNumber);
  const cJSON* const error_msg = zel::json_member(header, "ErrorMsg", kJsonString);
  const char* missing = nullptr;
  if (header == nullptr) {
    missing = "ReponseHeader";  // Kept: spelled so.
  } else if (error_code == nullptr) {
    missing = "ErrorCode";
  } else if (error_msg == nullptr) {
    missing = "ErrorMsg";
  }
  if (missing != nullptr) {
    QO_Log(kQoWarning, "[%s]parse %s FAIL! res[%s]", "parse_response_header", missing, response);
    return -1;
  }
  *code = error_code->valueint;
  return 0;
}

// Returns 0 if there is a payload to read, else what the call returns.
int open(const char* response, zel::JsonTree* root) {
  root->reset(cJSON_Parse(response));
  if (zel::json_type(root->get()) != kJsonObject) {
    QO_Log(kQoWarning, "[%s]HttpGet res[%s] parse FAIL!", kWho, response);
    return -1;
  }
  int code = -1;
  if (parse_header(root->get(), response, &code) == 0 && code == 0) return 0;
  QO_Log(kQoWarning, "[%s]res parse FAIL or error_code nonzero!", kWho);
  return code;
}

const cJSON* get_item(const cJSON* object, const char* key, zel::JsonType type, const char* response) {
  const cJSON* const item = zel::json_member(object, key, type);
  if (item == nullptr) {
    QO_Log(kQoWarning, "[%s]parse type[%d] key[%s] FAIL! res[%s]", "get_cjson_item", static_cast<int>(type),
           key, response);
  }
  return item;
}

int hand_out(const cJSON* root, const char* response, char** firmware, char** hardware) {
  const cJSON* const info = get_item(root, "Info", kJsonObject, response);
  if (info == nullptr) return -1;
  const cJSON* const version = get_item(info, "FirmwareVersion", kJsonString, response);
  if (version == nullptr) return -1;
  *firmware = strdup(version->valuestring);
  if (*firmware == nullptr) return -1;
  const cJSON* const company = get_item(info, "Company", kJsonString, response);
  if (company == nullptr) return -1;
  const cJSON* const model = get_item(info, "HardwareVersion", kJsonString, response);
  if (model == nullptr) return -1;
  char name[64];
  snprintf(name, sizeof name, "%s_%s", company->valuestring, model->valuestring);
  *hardware = strdup(name);
  return *hardware != nullptr ? 0 : -1;
}

}  // namespace

int zel_get_hw_info_from_fw(char** firmware, char** hardware) {
  if (firmware == nullptr || hardware == nullptr) return -1;
  *firmware = *hardware = nullptr;
  zel::router_api_request request{};
  if (!fetch(&request)) return -1;
  zel::JsonTree root;
  if (const int failure = open(request.response, &root); failure != 0) return failure;
  return hand_out(root.get(), request.response, firmware, hardware);
}
