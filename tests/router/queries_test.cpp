// What the queries make of the router's answers, good and bad.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zel/router.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "router/client.h"
#include "router/router.h"
#include "support/captured.h"
#include "support/tools.h"

namespace {

const std::string kHeader = R"({"ResponseHeader":{"ErrorCode":)";
const std::string kRates = R"("TransmissionRate":{"InstanDownloadRate":"1","AverageDownloadRate":"2",)";

// Records are filled with this before a query, so that what it leaves alone shows.
constexpr int kMark = 0x55;
constexpr int32_t kMarks = 0x55555555;

template <class Record>
void mark(Record* records, size_t count = 1) {
  memset(records, kMark, count * sizeof *records);
}

std::string text(const char* field, size_t size) {
  return {field, strnlen(field, size)};
}

// What the body prints, without addresses.
template <class Body>
std::string printed(Body body) {
  std::string output = captured(stdout, body);
  for (size_t at; (at = output.find("res[0x")) != std::string::npos;) {
    output.erase(at + 4, output.find(']', at) - at - 4);
  }
  return output;
}

// The same for a query against one answer, after the request's line.
template <class Body>
std::string printed(const std::string& answer, const std::string& method, Body body) {
  const Router router({answer});
  const std::string output = printed(body);
  EXPECT_EQ(router.methods(), std::vector<std::string>{method});
  const std::string line =
      "[excute_http_get][excute_http_get]req buffer[http://127.0.0.1:14000/api?method=" + method + "]\n";
  EXPECT_TRUE(output.starts_with(line)) << output;
  return output.substr(std::min(line.size(), output.size()));
}

std::string twice(const std::string& who) {
  return "[" + who + "][" + who + "]";
}

std::string no_item(int type, const std::string& key) {
  return twice("get_cjson_item") + "parse type[" + std::to_string(type) + "] key[" + key + "] FAIL! res[]\n";
}

}  // namespace

TEST(Queries, JudgeEveryAnswerByItsEnvelope) {
  const std::string who = twice("vendor_get_wan_speed");
  const std::string envelope = who + "res parse FAIL or error_code nonzero!\n";
  const std::string header = twice("parse_response_header");
  const std::string endless = good("\"x\":\"" + std::string(20000, 'x') + "\"");
  const std::string no_header = header + "parse ReponseHeader FAIL! res[]\n" + envelope;
  const std::string no_message = header + "parse ErrorMsg FAIL! res[]\n" + envelope;
  const std::string url = "http://127.0.0.1:14000/api?method=query_wan_transmission_rate";
  const struct {
    std::string answer;
    int result;
    std::string printed;
  } kCases[] = {
      {"", -1, twice("excute_http_get") + "HttpGet excute FAIL! req_url[" + url + "]\n"},
      {"%s%n", -1, who + "HttpGet res[%s%n] parse FAIL!\n"},
      {"[1]", -1, who + "HttpGet res[[1]] parse FAIL!\n"},
      {endless, -1, who + "HttpGet res[" + endless.substr(0, 9999) + "] parse FAIL!\n"},
      {"{}", -1, no_header},
      {R"({"ResponseHeader":[]})", -1, no_header},
      {kHeader + R"("5"}})", -1, header + "parse ErrorCode FAIL! res[]\n" + envelope},
      {kHeader + "0}}", -1, no_message},
      {kHeader + R"(5,"ErrorMsg":5}})", -1, no_message},
      {kHeader + R"(5,"ErrorMsg":"busy %s%n"}})", 5, envelope + "[vendor_get_wan_speed]busy %s%n\n"},
      {kHeader + R"(-7,"ErrorMsg":""}})", -7, envelope + "[vendor_get_wan_speed]\n"},
      {good(R"("TransmissionRate":"x")"), -1, no_item(6, "TransmissionRate")},
  };
  for (const auto& c : kCases) {
    zel_wan_speed speed;
    mark(&speed);
    EXPECT_EQ(printed(c.answer, "query_wan_transmission_rate",
                      [&] { EXPECT_EQ(vendor_get_wan_speed(&speed), c.result) << c.answer; }),
              c.printed);
    EXPECT_EQ(speed.InstanDownloadRate, kMarks) << c.answer;
  }
}

TEST(Queries, CutAUrlThatIsTooLongAndRefuseToAddToAFullOne) {
  zel::Exchange exchange("call");
  EXPECT_EQ(exchange.excute_http_get(), -1);
  EXPECT_EQ(exchange.add_method(std::string(2000, 'm').c_str()), 1023);
  const std::string url = ("http://127.0.0.1:14000/api?method=" + std::string(2000, 'm')).substr(0, 1023);
  EXPECT_EQ(captured(stdout, [&] { EXPECT_EQ(exchange.add_method("%d"), 1023); }),
            twice("add_method") + "add_method[%d] to req_url[" + url + "] error!\n");
}

TEST(Queries, FillTheWanRecordsUntilAMemberIsMissing) {
  zel_wan_speed speed;
  mark(&speed);
  EXPECT_EQ(printed(good(kRates + R"("PeakDownloadRate":"99999999999","InstantUploadRate":"-4x",)"
                                  R"("AverageUploadRate":5,"PeakUploadRate":"6"})"),
                    "query_wan_transmission_rate", [&] { EXPECT_EQ(vendor_get_wan_speed(&speed), -1); }),
            no_item(4, "AverageUploadRate"));
  const int32_t kRatesSeen[] = {1, 2, INT32_MAX, -4, kMarks, kMarks};
  EXPECT_EQ(memcmp(&speed, kRatesSeen, sizeof speed), 0);

  const struct {
    const char* members;
    int result;
    int32_t net, line;
    const char* ip;
    int32_t type;
  } kCases[] = {
      {R"("WAN_NET":3,"WAN_LINE":-1,"WAN_IP":"10.0.0.1","WAN_Type":0,"WAN_TYPE":7)", 0, 1, 0, "10.0.0.1", 2},
      {R"("wan_net":0,"WAN_LINE":1e99,"WAN_IP":"","WAN_TYPE":1)", 0, 0, 1, "", 1},
      {R"("WAN_NET":1,"WAN_LINE":1,"WAN_IP":"0123456789abcdefg","WAN_TYPE":"0")", -1, 1, 1,
       "0123456789abcdef", kMarks},
      {R"("WAN_NET":1,"WAN_LINE":1,"WAN_IP":"1","WAN_Type":0)", -1, 1, 1, "1", kMarks},
      {R"("WAN_NET":1,"WAN_IP":"1","WAN_TYPE":0)", -1, 1, kMarks, "UUUUUUUUUUUUUUUU", kMarks},
  };
  for (const auto& c : kCases) {
    zel_wan_status status;
    mark(&status);
    printed(good(c.members), "query_router_wan_status",
            [&] { EXPECT_EQ(vendor_get_wan_status(&status), c.result) << c.members; });
    EXPECT_EQ(status.WAN_NET, c.net) << c.members;
    EXPECT_EQ(status.WAN_LINE, c.line) << c.members;
    EXPECT_EQ(text(status.WAN_IP, 16), c.ip) << c.members;
    EXPECT_EQ(status.WAN_TYPE, c.type) << c.members;
  }
}

TEST(Queries, ListWifiNetworksAndCountThoseLeftOut) {
  const auto network = [](const std::string& ssid, const std::string& frequency) {
    return R"({"WIFI_SSID":")" + ssid + R"(","WIFI_WirelessFrequency":")" + frequency +
           R"(","WIFI_Status":2})";
  };
  const std::string long_ssid(200, 's');
  const std::string five = network("five", "5"), two = network(long_ssid, "2.4"), six = network("six", "6");
  const struct {
    std::string list;
    int capacity, result, count;
    int filled;        // records whose SSID was written
    std::string name;  // the device's, "" if that query fails
  } kCases[] = {
      {five + "," + two + "," + five, 2, 1, 2, 2, long_ssid.substr(0, 19)},
      {five + "," + six, 3, -1, 3, 2, ""},
      {two + ",7", 3, -1, 3, 1, long_ssid.substr(0, 19)},
      {"", 3, 0, 0, 0, ""},
  };
  for (const auto& c : kCases) {
    const std::string answer = good(R"("WIFIStatus":[)" + c.list + "]");
    zel_wifi_info networks[3];
    mark(networks, 3);
    int count = c.capacity;
    printed(answer, "query_router_wifi_info",
            [&] { EXPECT_EQ(vendor_get_wifi_info(networks, &count), c.result) << c.list; });
    EXPECT_EQ(count, c.count) << c.list;
    for (int i = 0; i < 3; ++i) EXPECT_EQ(networks[i].WIFI_SSID[0] != kMark, i < c.filled) << c.list;
    if (c.count == 2) {
      EXPECT_EQ(networks[0].WIFI_WirelessFrequency, 1);
      EXPECT_EQ(networks[1].WIFI_WirelessFrequency, 0);
      EXPECT_EQ(text(networks[1].WIFI_SSID, 128), std::string(128, 's'));
      EXPECT_EQ(networks[1].WIFI_Status, 1);
    }
    char name[20] = "";
    printed(answer, "query_router_wifi_info",
            [&] { EXPECT_EQ(vendor_get_device_name(name, 19), c.name.empty() ? -1 : 0) << c.list; });
    EXPECT_EQ(text(name, 20), c.name);
  }
}

TEST(Queries, AskBlkidOnlyAboutPlainDeviceNames) {
  put_tool("blkid",
           "echo \"$*\" >>/tmp/asked\n"
           "case $5 in */silent) ;; */endless) printf %s \"$5\" ;;"
           " */long) printf '%01023d\\n' 0 ;;"
           " *) echo 1234-ABCD; echo more ;; esac\n");

  const auto check = [](const std::string& name, const std::string& uuid, const std::string& asked) {
    unlink("/tmp/asked");
    zel_partition_info partitions[2];
    mark(partitions, 2);
    int count = 2;
    const std::string list =
        R"([3,{"Used":"2000000000","Available":"2000000000","Partition":")" + name + "\"},{}]";
    const std::string answer = good(R"("DiskInfo":{"Count":9,"List":)" + list + "}");
    std::string output = twice("vendor_get_partition_info") + "Get http response: " + answer + "\n";
    if (name == "endless") output += twice("get_partition_uuid") + " there is no '\n' in /dev/endless.\n";
    const auto query = [&] { EXPECT_EQ(vendor_get_partition_info(partitions, &count), 1); };
    EXPECT_EQ(printed(answer, "query_disk_info", query), output);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(partitions[0].Used, kMarks) << "an entry that is no object leaves its record alone";
    EXPECT_EQ(partitions[1].Used, 2000000000);
    EXPECT_EQ(partitions[1].Total, static_cast<int32_t>(4000000000U));
    EXPECT_EQ(text(partitions[1].Partition, 64), name.substr(0, 64));
    EXPECT_EQ(text(partitions[1].UUID, 40), uuid) << name;
    EXPECT_EQ(content_of("/tmp/asked"), asked);
  };
  const std::string full(70, 'p'), zeros(37, '0');
  const char* const kPlain[][2] = {
      {"sda1", "1234-ABCD"}, {"mapper/a_b-c.d", "1234-ABCD"}, {"silent", ""},
      {"endless", ""},       {full.c_str(), "1234-ABCD"},     {"long", zeros.c_str()}};
  for (const auto& [name, uuid] : kPlain)
    check(name, uuid, std::string("-s UUID -o value /dev/") + name + "\n");
  for (const char* name : {"a;id", "../etc/x", "$(id)", "", "a b", "%s", "a'b", "\xc3\xa4"})
    check(name, "", "");
}

TEST(Queries, RefuseAPartitionListThatDoesNotHoldTogether) {
  const struct {
    const char* disks;
    int result, count;
  } kCases[] = {{R"({"Count":0})", 0, 0},
                {R"({"Count":-1,"List":[{}]})", -1, 1},
                {R"({"Count":1})", -1, 1},
                {R"({"Count":1,"List":[]})", -1, 1},
                {R"({"Count":1,"List":[{"Used":"1","Available":"1"}]})", -1, 1},
                {R"([])", -1, 1}};
  for (const auto& c : kCases) {
    zel_partition_info partition;
    mark(&partition);
    int count = 1;
    printed(good(std::string(R"("DiskInfo":)") + c.disks), "query_disk_info",
            [&] { EXPECT_EQ(vendor_get_partition_info(&partition, &count), c.result) << c.disks; });
    EXPECT_EQ(count, c.count) << c.disks;
    EXPECT_EQ(partition.Used, kMarks) << c.disks;
  }
}

TEST(Queries, ReadTheIdentityFromTheDaemonsFile) {
  constexpr const char* kFile = "/tmp/norva_daemon.info";
  const std::string id = R"({"device_id":"0123456789"})";
  const struct {
    std::string content;
    int result;
    std::string printed;
  } kCases[] = {{id + std::string(4096 - id.size(), ' '), -2, "get device info: -2\n"},
                {id, 0, "buf: " + id + "\n"},
                {"{%n", -1, "buf: {%n\n[vendor_get_device_id]invalid json: {%n\n"},
                {"{}", -1, "buf: {}\n" + no_item(4, "device_id")}};
  char buffer[8];
  EXPECT_EQ(printed([&] { EXPECT_EQ(vendor_get_device_id(buffer, 8), -1); }),
            "[vendor_get_device_id]get device info: -1\n");
  for (const auto& c : kCases) {
    put(kFile, c.content);
    EXPECT_EQ(printed([&] { EXPECT_EQ(vendor_get_device_id(buffer, 8), c.result); }),
              "[vendor_get_device_id]" + c.printed);
  }
  EXPECT_EQ(text(buffer, 8), "01234567");
}

TEST(Queries, EndANameThatWasCut) {
  ASSERT_EQ(setuid(10001), 0);  // with all abilities, see packages.json
  const Router router({good(
      R"("WIFIStatus":[{"WIFI_SSID":"twenty characters..","WIFI_WirelessFrequency":"2.4","WIFI_Status":0}])")});
  char name[9];
  name[8] = '!';
  captured(stdout, [&] { EXPECT_EQ(zel_get_device_name(name, 8), 0); });
  EXPECT_STREQ(name, "twenty ");
  EXPECT_EQ(name[8], '!');
  for (const int length : {0, -1}) EXPECT_EQ(zel_get_device_name(name, length), -1) << length;
  EXPECT_STREQ(name, "twenty ");
}
