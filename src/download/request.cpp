#include "download/request.h"

#include <zel/util.h>

#include <iterator>
#include <utility>

#include "base/log.h"

namespace {

bool add_prefix(cJSON* request, const char* id) {
  return cJSON_AddStringToObject(request, "jsonrpc", "2.0") != nullptr &&
         cJSON_AddStringToObject(request, "id", id) != nullptr;
}

}  // namespace

namespace zel::download {

bool add_cmd_prefix_to_json(cJSON* request, const char* src, int length) {
  if (request == nullptr) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "cJson object NULL\n");
    return false;
  }
  if (src == nullptr || length <= 0) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "src string NULL\n");
    return false;
  }
  char digest[33];
  return add_prefix(request, md5_string(src, length, digest));
}

cJSON* add_call(cJSON* request, const char* method) noexcept {
  if (cJSON_AddStringToObject(request, "method", method) == nullptr) return nullptr;
  return cJSON_AddArrayToObject(request, "params");
}

cJSON* add_named_call(cJSON* request, const char* method) noexcept {
  return add_prefix(request, method) ? add_call(request, method) : nullptr;
}

bool append(cJSON* array, JsonTree element) noexcept {
  if (!element || cJSON_AddItemToArray(array, element.get()) == 0) return false;
  static_cast<void>(element.release());
  return true;
}

cJSON* append_object(cJSON* array) noexcept {
  JsonTree object(cJSON_CreateObject());
  cJSON* const borrowed = object.get();
  return append(array, std::move(object)) ? borrowed : nullptr;
}

bool append_status_keys(cJSON* params) noexcept {
  constexpr const char* kKeys[] = {"gid",           "status",   "totalLength", "completedLength",
                                   "downloadSpeed", "errorCode"};
  return append(params, JsonTree(cJSON_CreateStringArray(kKeys, std::size(kKeys))));
}

JsonText print(const JsonTree& request, bool whole) noexcept {
  return JsonText(whole ? cJSON_Print(request.get()) : nullptr);
}

}  // namespace zel::download
