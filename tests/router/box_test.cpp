// The calls of plug-ins against the box's router: what its state becomes in the records, and what its faults
// become in the results.
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <unistd.h>
#include <zel/router.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

#include "support/captured.h"
#include "support/router.h"

namespace {

// All of the calls, with records of their own on the heap, where a sanitizer watches their ends.
struct Records {
  char name[33];
  zel_wan_speed speed;
  zel_wan_status status;
  zel_wifi_info networks[2];
  zel_partition_info partitions[2];
  int network_count = 2;
  int partition_count = 2;
  char dns[2][ZEL_DNS_SIZE];
};

const struct {
  const char* name;
  int (*call)(Records* records);
  int in_error;  // its result when the router reports error 5
} kCalls[] = {
    {"name", [](Records* r) { return zel_get_device_name(r->name, sizeof r->name); }, -2},
    {"speed", [](Records* r) { return zel_get_wan_speed(&r->speed); }, -2},
    {"status", [](Records* r) { return zel_get_wan_status(&r->status); }, -2},
    {"wifi", [](Records* r) { return zel_get_wifi_info(r->networks, &r->network_count); }, 5},
    {"partitions", [](Records* r) { return zel_get_partition_info(r->partitions, &r->partition_count); }, 5},
    {"dns", [](Records* r) { return zel_get_router_dns(r->dns[0], r->dns[1]); }, -2},
    {"set dns", [](Records*) { return zel_set_router_dns("9.9.9.9", "8.8.8.8"); }, -2},
    {"reset dns", [](Records*) { return zel_reset_router_dns(); }, -2},
};

// What the calls print.
std::string expect_all(Records* records, const std::string& fault, int result) {
  return captured(stdout, [&] {
    for (const auto& c : kCalls)
      EXPECT_EQ(c.call(records), result == 5 ? c.in_error : result) << c.name << ": " << fault;
  });
}

}  // namespace

TEST(RouterOfTheBox, TellsItsStateAndKeepsTheDnsServersItIsGiven) {
  Records r;
  expect_all(&r, "none", 0);
  EXPECT_STREQ(r.name, "Home");
  EXPECT_EQ(r.speed.PeakUploadRate, 1900);
  EXPECT_STREQ(r.status.WAN_IP, "203.0.113.24");
  EXPECT_STREQ(r.networks[1].WIFI_SSID, "Home 5G");
  EXPECT_STREQ(r.partitions[1].UUID, "6A3C-91F0");
  EXPECT_STREQ(r.dns[0], "192.0.2.53");
  captured(stdout, [&] {
    for (const char* type : {"0", "2"}) {
      test::change_router_state(std::string(R"({"WAN": {"WAN_Type": )") + type + "}}");
      for (const char* server : {"9.9.9.9", ""}) {
        EXPECT_EQ(*server != '\0' ? zel_set_router_dns(server, server) : zel_reset_router_dns(), 0);
        EXPECT_EQ(zel_get_router_dns(r.dns[0], r.dns[1]), 0);
        EXPECT_STREQ(r.dns[0], server) << type;
        EXPECT_STREQ(r.dns[1], server) << type;
      }
    }
  });
}

TEST(RouterOfTheBox, FailsEachCallWithEachFaultAndNoneAfterwards) {
  const struct {
    const char* fault;
    int result;
    const char* says;
  } kFaults[] = {
      {R"("kind": "delay", "ms": 50)", 0, ""},
      {R"("kind": "trickle", "ms": 1)", 0, ""},
      {R"("kind": "error", "code": 5, "text": "%s%n")", 5, "[vendor_get_wan_status]%s%n\n"},
      {R"("kind": "error", "code": -5, "text": "no")", -2, "[vendor_get_wan_status]no\n"},
      {R"("kind": "cut")", -2, R"([vendor_get_wan_status]HttpGet res[{"ResponseHeader":{"] parse FAIL!)"},
      {R"("kind": "garbage", "text": "<%n>")", -2, "[vendor_get_wan_status]HttpGet res[<%n>] parse FAIL!"},
      {R"("kind": "types")", -2, "[get_cjson_item]parse type[3] key[WAN_NET] FAIL!"},
      {R"("kind": "oversize")", -2, "[vendor_get_wan_status]HttpGet res[{"},
      {R"("kind": "http500")", -2, "HttpGet excute FAIL! req_url["}};
  const auto records = std::make_unique<Records>();
  for (const auto& c : kFaults) {
    test::set_router_fault(std::string(R"({"method": "*", )") + c.fault + "}");
    const std::string output = expect_all(records.get(), c.fault, c.result);
    EXPECT_NE(output.find(c.says), std::string::npos) << c.fault << output;
    test::http("DELETE", "/box/fault");
  }
  expect_all(records.get(), "none any more", 0);
  // Its own time-out ends the wait for a router that says nothing.
  test::set_router_fault(R"({"method": "*", "kind": "hang"})");
  const auto start = std::chrono::steady_clock::now();
  captured(stdout, [&] { EXPECT_EQ(zel_get_wan_status(&records->status), -2); });
  const std::chrono::duration<double> waited = std::chrono::steady_clock::now() - start;
  EXPECT_GT(waited.count(), 9.9);
  EXPECT_LT(waited.count(), 15);
}

TEST(RouterOfTheBox, LetsEveryPluginAskForTheDnsServers) {
  ASSERT_EQ(setuid(10004), 0);  // No abilities, see packages.json.
  Records r;
  captured(stdout, [&] { EXPECT_EQ(zel_get_router_dns(r.dns[0], r.dns[1]), 0); });
}

TEST(RouterOfTheBox, LeavesTheIdentityOfARealDeviceToTheRealBlkid) {
  // A folder of /dev that is this box's alone.
  ASSERT_EQ(mount("tmpfs", "/dev/shm", "tmpfs", 0, nullptr), 0);
  ASSERT_EQ(system("truncate -s 1M /dev/shm/disk && PATH=$PATH:/usr/sbin:/sbin"
                   " mkswap -U 1b2e6f70-0000-4c5e-8a41-7f1d2c3b4a59 /dev/shm/disk >/dev/null 2>&1"),
            0);
  test::change_router_state(
      R"({"DiskInfo": [{"Partition": "shm/disk", "Used": "1", "Available": "2", "UUID": "the router's"}]})");
  zel_partition_info partition;
  int count = 1;
  captured(stdout, [&] { EXPECT_EQ(zel_get_partition_info(&partition, &count), 0); });
  EXPECT_STREQ(partition.UUID, "1b2e6f70-0000-4c5e-8a41-7f1d2c3b4a59");
}
