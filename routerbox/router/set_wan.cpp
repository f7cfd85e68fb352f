#include <arpa/inet.h>

#include <algorithm>
#include <iterator>

#include "methods.h"

namespace routerbox::router {
namespace {

bool address_from(const std::string& text, uint32_t* address) {
  in_addr parsed{};
  if (inet_pton(AF_INET, text.c_str(), &parsed) != 1) return false;
  *address = ntohl(parsed.s_addr);
  return true;
}

// The answers are JSON, which could not give other bytes back unchanged.
bool is_text(const std::string& value) {
  try {
    (void)Json(value).dump();
    return true;
  } catch (const Json::type_error&) {
    return false;
  }
}

bool is_name(const std::string& value) {
  return !value.empty() && is_text(value);
}

bool is_address(const std::string& value) {
  uint32_t address = 0;
  return address_from(value, &address);
}

bool is_mask(const std::string& value) {
  uint32_t mask = 0;
  return address_from(value, &mask) && mask != 0 && (~mask & (~mask + 1)) == 0;
}

bool is_address_or_empty(const std::string& value) {
  return value.empty() || is_address(value);
}

struct Kind {
  bool (*fits)(const std::string& value);
  const char* demand;
};

constexpr Kind kText{is_text, "must be UTF-8 text"};
constexpr Kind kName{is_name, "must be UTF-8 text and not empty"};
constexpr Kind kAddress{is_address, "must be an IPv4 address"};
constexpr Kind kMask{is_mask, "must be an IPv4 network mask"};
constexpr Kind kServer{is_address_or_empty, "must be an IPv4 address or empty"};

struct Row {
  const char* key;
  const char* member;  // of the state's WAN, which it sets
  const Kind* kind;
  bool manual_dns;  // all rows of this mark are given, or none
};

constexpr Row kPppoe[] = {
    {"wan_param_pppoe_name", "WAN_PPPoE_Name", &kName, false},
    {"wan_param_pppoe_pwd", "WAN_PPPoE_PWD", &kText, false},
    {"wan_param_pppoe_dns1", "WAN_PPPoE_DNS1", &kServer, true},
    {"wan_param_pppoe_dns2", "WAN_PPPoE_DNS2", &kServer, true},
};
constexpr Row kStatic[] = {
    {"wan_param_static_ip", "WAN_STATIC_IP", &kAddress, false},
    {"wan_param_static_subnet", "WAN_STATIC_Subnet", &kMask, false},
    {"wan_param_static_gateway", "WAN_STATIC_Gateway", &kAddress, false},
    {"wan_param_static_dns1", "WAN_STATIC_DNS1", &kServer, true},
    {"wan_param_static_dns2", "WAN_STATIC_DNS2", &kServer, true},
};

// The number a configuration has in the request is not the one it has in the answers.
struct Configuration {
  const char* type;
  int reported;
  const char* address;  // member that becomes WAN_IP; null: the provider gives one
  const Row* begin;
  const Row* end;
};

constexpr Configuration kConfigurations[] = {
    {"1", 0, nullptr, std::begin(kPppoe), std::end(kPppoe)},
    {"2", 2, "WAN_STATIC_IP", std::begin(kStatic), std::end(kStatic)},
};

constexpr const char* kType = "wan_param_type";

const std::string* value_of(const Parameters& parameters, const std::string& key) {
  const auto found = std::find_if(parameters.begin(), parameters.end(),
                                  [&](const auto& given) { return given.first == key; });
  return found == parameters.end() ? nullptr : &found->second;
}

const Configuration& configuration_of(const Parameters& parameters) {
  const std::string* const type = value_of(parameters, kType);
  if (type == nullptr) throw Refusal(kMissingParameter, std::string(kType) + " is missing");
  for (const Configuration& configuration : kConfigurations)
    if (*type == configuration.type) return configuration;
  throw Refusal(kBadValue, std::string(kType) + " must be 1 or 2");
}

void check_keys(const Configuration& configuration, const Parameters& parameters) {
  for (auto given = parameters.begin(); given != parameters.end(); ++given) {
    const std::string& key = given->first;
    if (value_of(parameters, key) != &given->second)
      throw Refusal(kRepeatedParameter, key + " is given twice");
    const bool known = key == kType || std::any_of(configuration.begin, configuration.end,
                                                   [&](const Row& row) { return key == row.key; });
    if (!known)
      throw Refusal(kUnknownParameter, key + " is no parameter of " + kType + " " + configuration.type);
  }
}

void check_values(const Configuration& configuration, const Parameters& parameters) {
  const bool manual_dns = std::any_of(configuration.begin, configuration.end, [&](const Row& row) {
    return row.manual_dns && value_of(parameters, row.key) != nullptr;
  });
  for (const Row* row = configuration.begin; row != configuration.end; ++row) {
    const std::string* const value = value_of(parameters, row->key);
    if (value == nullptr && row->manual_dns && !manual_dns) continue;
    if (value == nullptr) throw Refusal(kMissingParameter, std::string(row->key) + " is missing");
    if (!row->kind->fits(*value)) throw Refusal(kBadValue, std::string(row->key) + " " + row->kind->demand);
  }
}

}  // namespace

void set_wan(State& state, const Parameters& parameters) {
  const Configuration& configuration = configuration_of(parameters);
  check_keys(configuration, parameters);
  check_values(configuration, parameters);
  state.change([&](Json& document) {
    Json& wan = document["WAN"];
    wan["WAN_Type"] = wan["WAN_TYPE"] = configuration.reported;
    for (const Row* row = configuration.begin; row != configuration.end; ++row) {
      const std::string* const value = value_of(parameters, row->key);
      wan[row->member] = value != nullptr ? *value : "";
    }
    if (configuration.address != nullptr) wan["WAN_IP"] = Json(wan[configuration.address]);
  });
}

}  // namespace routerbox::router
