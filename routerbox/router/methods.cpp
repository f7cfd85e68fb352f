#include "methods.h"

#include "../support/failure.h"

namespace routerbox::router {
namespace {

void add_wan(const Json& state, Json* answer) {
  answer->update(state.at("WAN"));
}

// Like many routers, this one leaves the list out when it has no disk.
void add_disks(const Json& state, Json* answer) {
  Json disks = state.at("DiskInfo");
  for (Json& disk : disks)
    if (disk.is_object()) disk.erase("UUID");
  Json& info = (*answer)["DiskInfo"];
  info["Count"] = disks.size();
  if (!disks.empty()) info["List"] = std::move(disks);
}

template <const char* const& Key>
void add_member(const Json& state, Json* answer) {
  (*answer)[Key] = state.at(Key);
}

constexpr const char* kSetWan = "set_router_wan";
constexpr const char* kWifi = "WIFIStatus";
constexpr const char* kRates = "TransmissionRate";
constexpr const char* kInfo = "Info";

constexpr struct {
  const char* method;
  void (*add)(const Json& state, Json* answer);
} kQueries[] = {
    {"query_router_wifi_info", add_member<kWifi>}, {"query_wan_transmission_rate", add_member<kRates>},
    {"query_router_wan_status", add_wan},          {"query_disk_info", add_disks},
    {"query_router_info", add_member<kInfo>},
};

Json carry_out(State& state, const Call& call) {
  if (call.malformed) throw Refusal(kMalformedParameter, "a parameter is not of the form key=value");
  Json result = envelope(kDone, "");
  if (call.method == kSetWan) {
    set_wan(state, call.parameters);
    return result;
  }
  for (const auto& query : kQueries) {
    if (call.method != query.method) continue;
    if (!call.parameters.empty())
      throw Refusal(kUnknownParameter, call.method + " takes no " + call.parameters.front().first);
    query.add(state.read(), &result);
    return result;
  }
  throw Refusal(kUnknownMethod, "there is no method '" + call.method + "'");
}

}  // namespace

std::vector<std::string> methods() {
  std::vector<std::string> names{kSetWan};
  for (const auto& query : kQueries) names.emplace_back(query.method);
  return names;
}

Json answer(State& state, const Call& call) {
  try {
    return carry_out(state, call);
  } catch (const Refusal& refusal) {
    return envelope(refusal.code(), refusal.what());
  } catch (const Failure& failure) {
    return envelope(kNotSaved, failure.what());
  }
}

Json envelope(int code, const std::string& text) {
  return {{"ResponseHeader", {{"ErrorCode", code}, {"ErrorMsg", text}}}};
}

int code_of(const Json& answer) {
  return answer.at("ResponseHeader").at("ErrorCode").get<int>();
}

}  // namespace routerbox::router
