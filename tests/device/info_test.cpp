// The device's identity, from the daemon's file and from the router.
#include <unistd.h>
#include <zel/device.h>

#include <cstdlib>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"
#include "support/router.h"

namespace {

TEST(DeviceInfo, IsReadFromTheDaemonsFileUpToWhatIsMissing) {
  zel_device_info info;
  EXPECT_EQ(run_as(10002, [&] { return zel_get_device_info(&info); }), 0) << "plug-ins may read it";
  const std::string name(80, 'n');
  test::change_router_state(R"({"DaemonInfo": {"deviceName": ")" + name + "\"}}");
  ASSERT_EQ(zel_get_device_info(&info), 0);
  EXPECT_STREQ(info.device_id, "N0123456789");
  EXPECT_STREQ(info.daemon_version, "2.1.0");
  EXPECT_EQ(std::string(info.deviceName, 64), name.substr(0, 64));
  EXPECT_STREQ(info.fw_version, "1.4.2") << "untouched by the name before it";
  EXPECT_STREQ(info.hw_name, "ACME_R1");
  EXPECT_EQ(info.zelSdkVersion, 3);

  test::change_router_state(R"({"DaemonInfo": {"zelSdkVersion": "3", "deviceName": "n"}})");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  EXPECT_STREQ(info.deviceName, "n");
  EXPECT_STREQ(info.hw_name, "") << "cleared and not reached";
  put("/tmp/norva_daemon.info", "{");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  unlink("/tmp/norva_daemon.info");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  EXPECT_EQ(zel_get_device_info(nullptr), -1);
}

TEST(HardwareInfo, IsTheRoutersWithItsCodesAndMessages) {
  const std::string url = "[http://127.0.0.1:14000/api?method=query_router_info]\n";
  const std::string refused = "W [zel_get_hw_info_from_fw]res parse FAIL or error_code nonzero!\n";
  const auto incomplete = [&](const char* what, const std::string& answer) {
    return "W [parse_response_header]parse " + std::string(what) + " FAIL! res[" + answer + "]\n" + refused;
  };
  const auto missing = [](int type, const char* key, const std::string& answer) {
    return "W [get_cjson_item]parse type[" + std::to_string(type) + "] key[" + key + "] FAIL! res[" + answer +
           "]\n";
  };
  const std::string head = R"({"ResponseHeader":{"ErrorCode":0,"ErrorMsg":""})";
  const std::string no_company = head + R"(,"Info":{"FirmwareVersion":"7"}})";
  const struct {
    std::string answer;  // "" is a failure of the router
    int result;
    std::string firmware, hardware, says;
  } kCases[] = {
      {head + R"(,"Info":{"FirmwareVersion":"7","Company":"ACME","HardwareVersion":"R1"}})", 0, "7",
       "ACME_R1", ""},
      {head + R"(,"Info":{"FirmwareVersion":"7","Company":")" + std::string(80, 'c') +
           R"(","HardwareVersion":""}})",
       0, "7", std::string(63, 'c'), ""},
      {no_company, -1, "7", "", missing(4, "Company", no_company)},
      {head + "}", -1, "", "", missing(6, "Info", head + "}")},
      {R"({"ResponseHeader":{"ErrorCode":5,"ErrorMsg":"busy"}})", 5, "", "", refused},
      {R"({"ResponseHeader":{"ErrorCode":5}})", -1, "", "",
       incomplete("ErrorMsg", R"({"ResponseHeader":{"ErrorCode":5}})")},
      {R"({"ResponseHeader":{}})", -1, "", "", incomplete("ErrorCode", R"({"ResponseHeader":{}})")},
      {"{}", -1, "", "", incomplete("ReponseHeader", "{}")},
      {"[%s]", -1, "", "", "W [zel_get_hw_info_from_fw]HttpGet res[[%s]] parse FAIL!\n"},
      {"", -1, "", "", "W [excute_http_get]HttpGet excute FAIL! req_url" + url},
  };
  for (const auto& c : kCases) {
    std::string text;
    for (const char letter : c.answer) text += letter == '"' ? "\\\"" : std::string(1, letter);
    test::set_router_fault(c.answer.empty() ? R"({"method": "*", "kind": "http500", "count": 1})"
                                            : R"({"method": "*", "kind": "garbage", "count": 1, "text": ")" +
                                                  text + "\"}");
    char* firmware = nullptr;
    char* hardware = nullptr;
    const std::string log =
        qo_logged([&] { EXPECT_EQ(zel_get_hw_info_from_fw(&firmware, &hardware), c.result) << c.answer; });
    EXPECT_EQ(log, "D [excute_http_get]req buffer" + url + c.says);
    EXPECT_EQ(firmware != nullptr ? firmware : "", c.firmware) << c.answer;
    EXPECT_EQ(hardware != nullptr ? hardware : "", c.hardware) << c.answer;
    free(firmware);
    free(hardware);
  }
}

}  // namespace
