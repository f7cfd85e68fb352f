// What the router reports of its WAN link, its Wi-Fi and its disks.
#include <zel/router.h>

#include <cstddef>
#include <cstring>

#include "base/json.h"
#include "base/number.h"
#include "router/client.h"
#include "router/copy.h"
#include "router/partition_uuid.h"

using zel::get_cjson_item;
using zel::kJsonArray;
using zel::kJsonNumber;
using zel::kJsonObject;
using zel::kJsonString;

// Plug-ins are compiled against these.
static_assert(sizeof(zel_wan_speed) == 24);
static_assert(sizeof(zel_wan_status) == 28 && offsetof(zel_wan_status, WAN_TYPE) == 24);
static_assert(sizeof(zel_wifi_info) == 136 && offsetof(zel_wifi_info, WIFI_WirelessFrequency) == 128);
static_assert(sizeof(zel_partition_info) == 112 && offsetof(zel_partition_info, UUID) == 64);

namespace {

int32_t to_int(const char* text) {
  return zel::leading_number<int32_t>(text);
}

const char* get_text(const cJSON* object, const char* key) {
  const cJSON* const item = get_cjson_item(object, key, kJsonString);
  return item != nullptr ? item->valuestring : nullptr;
}

// Reads a number through one of the mappings below.
bool get_number(const cJSON* object, const char* key, int32_t (*map)(int), int32_t* value) {
  const cJSON* const item = get_cjson_item(object, key, kJsonNumber);
  if (item != nullptr) *value = map(item->valueint);
  return item != nullptr;
}

int32_t is_positive(int number) {
  return number > 0 ? 1 : 0;
}

int32_t wan_type(int number) {
  return number == 0 || number == 1 ? number : 2;
}

bool get_frequency(const cJSON* network, int32_t* frequency) {
  static constexpr const char* kFrequencies[] = {"2.4", "5"};
  const char* const text = get_text(network, "WIFI_WirelessFrequency");
  if (text == nullptr) return false;
  for (int32_t number = 0; number < 2; ++number) {
    if (strcmp(text, kFrequencies[number]) != 0) continue;
    *frequency = number;
    return true;
  }
  return false;
}

bool fill_network(const cJSON* network, zel_wifi_info* info) {
  const char* const ssid = get_text(network, "WIFI_SSID");
  if (ssid == nullptr) return false;
  zel::fill_field(info->WIFI_SSID, sizeof info->WIFI_SSID, ssid);
  return get_frequency(network, &info->WIFI_WirelessFrequency) &&
         get_number(network, "WIFI_Status", is_positive, &info->WIFI_Status);
}

bool fill_partition(const cJSON* entry, zel_partition_info* info) {
  if (zel::json_type(entry) != kJsonObject) return true;  // Kept: its slot is used and left as it was.
  const char* const used = get_text(entry, "Used");
  if (used == nullptr) return false;
  const char* const available = get_text(entry, "Available");
  if (available == nullptr) return false;
  const char* const name = get_text(entry, "Partition");
  if (name == nullptr) return false;

  info->Used = to_int(used);
  info->Total =
      static_cast<int32_t>(static_cast<uint32_t>(to_int(available)) + static_cast<uint32_t>(info->Used));
  zel::fill_field(info->Partition, sizeof info->Partition, name);
  info->UUID[0] = '\0';  // Also ends a name that fills its field, as long as there is no UUID.
  zel::get_partition_uuid(info, name);
  return true;
}

// Fills the caller's records from the array's first elements. Returns how many elements did not fit, or -1.
template <class Record>
int fill_records(const cJSON* array, bool (*fill)(const cJSON*, Record*), Record* records, int* count) {
  const cJSON* element = array->child;
  int filled = 0;
  for (; element != nullptr && filled < *count; element = element->next, ++filled) {
    if (!fill(element, &records[filled])) return -1;
  }
  *count = filled;
  return cJSON_GetArraySize(array) - filled;
}

int fill_partitions(const cJSON* root, zel_partition_info* partitions, int* count) {
  const cJSON* const disks = get_cjson_item(root, "DiskInfo", kJsonObject);
  if (disks == nullptr) return -1;
  const cJSON* const number = get_cjson_item(disks, "Count", kJsonNumber);
  if (number == nullptr || number->valueint < 0) return -1;
  if (number->valueint == 0) {
    *count = 0;
    return 0;
  }
  const cJSON* const list = get_cjson_item(disks, "List", kJsonArray);
  if (list == nullptr || list->child == nullptr) return -1;
  return fill_records(list, fill_partition, partitions, count);
}

// The SSID of the first network of 2.4 GHz, or null.
const char* find_device_name(const cJSON* networks) {
  const cJSON* network;
  cJSON_ArrayForEach(network, networks) {
    const char* const frequency = get_text(network, "WIFI_WirelessFrequency");
    if (frequency == nullptr) return nullptr;
    if (strcmp(frequency, "2.4") == 0) return get_text(network, "WIFI_SSID");
  }
  return nullptr;
}

}  // namespace

int vendor_get_device_name(char* name, int length) {
  if (name == nullptr) return -1;
  zel::Exchange query(__func__);
  if (const int failure = query.run("query_router_wifi_info"); failure != 0) return failure;
  const cJSON* const networks = get_cjson_item(query.root(), "WIFIStatus", kJsonArray);
  const char* const ssid = networks != nullptr ? find_device_name(networks) : nullptr;
  if (ssid == nullptr) return -1;
  zel::fill_buffer(name, length, ssid);
  return 0;
}

int vendor_get_wan_speed(zel_wan_speed* speed) {
  static constexpr struct {
    const char* key;
    int32_t zel_wan_speed::*rate;
  } kRates[] = {{"InstanDownloadRate", &zel_wan_speed::InstanDownloadRate},  // Kept: the router spells it so.
                {"AverageDownloadRate", &zel_wan_speed::AverageDownloadRate},
                {"PeakDownloadRate", &zel_wan_speed::PeakDownloadRate},
                {"InstantUploadRate", &zel_wan_speed::InstantUploadRate},
                {"AverageUploadRate", &zel_wan_speed::AverageUploadRate},
                {"PeakUploadRate", &zel_wan_speed::PeakUploadRate}};
  if (speed == nullptr) return -1;
  zel::Exchange query(__func__);
  if (const int failure = query.run("query_wan_transmission_rate"); failure != 0) return failure;
  const cJSON* const rates = get_cjson_item(query.root(), "TransmissionRate", kJsonObject);
  if (rates == nullptr) return -1;
  for (const auto& row : kRates) {
    const char* const text = get_text(rates, row.key);
    if (text == nullptr) return -1;
    speed->*row.rate = to_int(text);
  }
  return 0;
}

int vendor_get_wan_status(zel_wan_status* status) {
  if (status == nullptr) return -1;
  zel::Exchange query(__func__);
  if (const int failure = query.run("query_router_wan_status"); failure != 0) return failure;
  if (!get_number(query.root(), "WAN_NET", is_positive, &status->WAN_NET) ||
      !get_number(query.root(), "WAN_LINE", is_positive, &status->WAN_LINE)) {
    return -1;
  }
  const char* const address = get_text(query.root(), "WAN_IP");
  if (address == nullptr) return -1;
  zel::fill_field(status->WAN_IP, sizeof status->WAN_IP, address);
  return get_number(query.root(), "WAN_TYPE", wan_type, &status->WAN_TYPE) ? 0 : -1;
}

int vendor_get_wifi_info(zel_wifi_info* networks, int* count) {
  if (networks == nullptr || count == nullptr || *count < 1) return -1;
  zel::Exchange query(__func__);
  if (const int failure = query.run("query_router_wifi_info"); failure != 0) return failure;
  const cJSON* const array = get_cjson_item(query.root(), "WIFIStatus", kJsonArray);
  return array != nullptr ? fill_records(array, fill_network, networks, count) : -1;
}

int vendor_get_partition_info(zel_partition_info* partitions, int* count) {
  if (partitions == nullptr || count == nullptr || *count < 1) return -1;
  zel::Exchange query(__func__);
  query.add_method("query_disk_info");
  if (query.excute_http_get() != 0) {
    ROUTER_PRINT(__func__, "HttpGet execute FAIL!\n");
    return -1;
  }
  ROUTER_PRINT(__func__, "Get http response: %s\n", query.response());
  if (const int failure = query.open(); failure != 0) return failure;
  return fill_partitions(query.root(), partitions, count);
}
