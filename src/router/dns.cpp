// The DNS servers of the WAN connection. The router changes them only together with the connection's other
// settings, so these are read first and sent back.
#include <zel/router.h>
#include <zel/util.h>

#include <cstdio>
#include <cstring>
#include <mutex>

#include "base/in_child.h"
#include "base/json.h"
#include "router/client.h"

namespace {

constexpr size_t kTextSize = ZEL_DNS_SIZE;

enum DnsResult : int { kDone = 0, kResetNotSent = -1, kFailed = -2, kNoSettings = -3, kEmptySettings = -4 };

enum WanType : int32_t { kPppoe = 0, kOther = 1, kStatic = 2 };

struct wan_settings_cache {
  int32_t wan_type;
  char pppoe_name[kTextSize];
  char pppoe_pwd[kTextSize];
  char static_ip[kTextSize];
  char static_subnet[kTextSize];
  char static_gateway[kTextSize];
};

zel::Mutex dns_mutex;      // Held from a read to the end of what is sent because of it.
wan_settings_cache cache;  // Guarded by dns_mutex.

// Returns `not_sent` if there was no answer.
int ask(zel::Exchange* exchange, const char* method, int not_sent) {
  exchange->add_method(method);
  if (exchange->excute_http_get_for_dns() != 0) return not_sent;
  return exchange->parse_answer() ? kDone : kFailed;
}

const cJSON* get_item(const cJSON* root, const char* key, zel::JsonType type) {
  const cJSON* const item = zel::get_cjson_item(root, key, type);
  if (item == nullptr) {
    char line[64];
    snprintf(line, sizeof line, "ERROR: %s j_tmp == NULL", key);
    puts(line);
  }
  return item;
}

struct Row {
  const char* key;
  char* text;  // kTextSize bytes
};

template <size_t kRows>
int read_texts(const cJSON* root, const Row (&rows)[kRows]) {
  for (const Row& row : rows) {
    const cJSON* const item = get_item(root, row.key, zel::kJsonString);
    if (item == nullptr) return kFailed;
    qo_strncpy(row.text, item->valuestring, kTextSize);
  }
  return kDone;
}

// Needs dns_mutex, as all below.
int read_settings(char* dns1, char* dns2) {
  cache = {};
  zel::Exchange exchange("vendor_get_router_dns");
  if (ask(&exchange, "query_router_wan_status", kFailed) != kDone) return kFailed;
  const cJSON* const root = exchange.root();
  const cJSON* const type = get_item(root, "WAN_Type", zel::kJsonNumber);
  if (type == nullptr) return kFailed;
  cache.wan_type = type->valueint == kPppoe || type->valueint == kOther ? type->valueint : kStatic;
  if (cache.wan_type == kOther) return kNoSettings;
  if (cache.wan_type == kPppoe) {
    return read_texts(root, {{"WAN_PPPoE_DNS1", dns1},
                             {"WAN_PPPoE_DNS2", dns2},
                             {"WAN_PPPoE_Name", cache.pppoe_name},
                             {"WAN_PPPoE_PWD", cache.pppoe_pwd}});
  }
  return read_texts(root, {{"WAN_STATIC_DNS1", dns1},
                           {"WAN_STATIC_DNS2", dns2},
                           {"WAN_STATIC_IP", cache.static_ip},
                           {"WAN_STATIC_Subnet", cache.static_subnet},
                           {"WAN_STATIC_Gateway", cache.static_gateway}});
}

// The cached settings as the router takes them. Its numbers for the type are others than in its answers.
int format_settings(char (&method)[256]) {
  if (cache.wan_type == kPppoe) {
    if (cache.pppoe_name[0] == '\0') return kEmptySettings;
    snprintf(method, sizeof method,
             "set_router_wan&wan_param_type=1&wan_param_pppoe_name=%s&wan_param_pppoe_pwd=%s",
             cache.pppoe_name, cache.pppoe_pwd);
    return kDone;
  }
  if (cache.wan_type != kStatic) return kNoSettings;
  if (cache.static_ip[0] == '\0') return kEmptySettings;
  snprintf(method, sizeof method,
           "set_router_wan&wan_param_type=2&wan_param_static_ip=%s&wan_param_static_subnet=%s"
           "&wan_param_static_gateway=%s",
           cache.static_ip, cache.static_subnet, cache.static_gateway);
  return kDone;
}

void append_dns(char (&method)[256], const char* dns1, const char* dns2) {
  const char* const kind = cache.wan_type == kPppoe ? "pppoe" : "static";
  const size_t used = strlen(method);
  snprintf(method + used, sizeof method - used, "&wan_param_%s_dns1=%s&wan_param_%s_dns2=%s", kind, dns1,
           kind, dns2);
}

// What would end the request's URL early, so that the router stored half of the settings, or keep it from being sent.
bool fits_url(const char* text) {
  for (; *text != '\0'; ++text) {
    const auto byte = static_cast<unsigned char>(*text);
    if (byte <= ' ' || byte == 0x7F || byte == '#') return false;
  }
  return true;
}

// Reads the settings and sends them back; without DNS texts, which makes the router drop its own.
int change(const char* who, const char* dns1, const char* dns2, int not_sent) {
  if (dns1 != nullptr && (!fits_url(dns1) || !fits_url(dns2))) return not_sent;
  const std::lock_guard hold(dns_mutex);
  char scratch[2][kTextSize];
  const int failed_read = read_settings(scratch[0], scratch[1]);
  if (failed_read < 0) {
    ROUTER_PRINT(who, "vendor_get_router_dns error errcode=%d!\n", failed_read);
    return failed_read;
  }
  char method[256];
  if (const int failure = format_settings(method); failure != kDone) return failure;
  if (dns1 != nullptr) append_dns(method, dns1, dns2);
  if (!fits_url(method)) {
    ROUTER_PRINT(who, "a \"#\", blank or control character in the settings cannot be sent!\n");
    return not_sent;
  }
  zel::Exchange exchange(who);
  return ask(&exchange, method, not_sent);
}

}  // namespace

int vendor_get_router_dns(char* dns1, char* dns2) {
  if (dns1 == nullptr || dns2 == nullptr) return kFailed;
  const std::lock_guard hold(dns_mutex);
  return read_settings(dns1, dns2);
}

int vendor_set_router_dns(const char* dns1, const char* dns2) {
  if (dns1 == nullptr || dns2 == nullptr) return kFailed;
  return change(__func__, dns1, dns2, kFailed);
}

int vendor_reset_router_dns(void) {
  return change(__func__, nullptr, nullptr, kResetNotSent);  // Kept: setting gives -2 here.
}
