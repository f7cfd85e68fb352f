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
  EXPECT_EQ(std::string(info.device_id) + info.daemon_version + info.hw_name, "N01234567892.1.0ACME_R1");
  EXPECT_EQ(std::string(info.deviceName, 64), name.substr(0, 64));
  EXPECT_STREQ(info.fw_version, "1.4.2") << "untouched by the name before it";
  EXPECT_EQ(info.zelSdkVersion, 3);
  test::change_router_state(R"({"DaemonInfo": {"zelSdkVersion": "3", "deviceName": "n"}})");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  EXPECT_STREQ(info.deviceName, "n");
  EXPECT_STREQ(info.hw_name, "") << "cleared and not reached";
  put("/tmp/norva_daemon.info", "{");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  unlink("/tmp/norva_daemon.info");
  EXPECT_EQ(zel_get_device_info(&info) + zel_get_device_info(nullptr), -2);
}

TEST(HardwareInfo, IsTheRoutersWithItsCodesAndMessages) {
  const std::string url = "[http://127.0.0.1:14000/api?method=query_router_info]\n";
  const std::string refused = "W [zel_get_hw_info_from_fw]res parse FAIL or error_code nonzero!\n";
  const auto failed = [](const std::string& what, const std::string& answer) {
    return "W [" + what + " FAIL! res[" + answer + "]\n";
  };
  const std::string head = R"({"ResponseHeader":{"ErrorCode":0,"ErrorMsg":""},"Info":{"FirmwareVersion":"7")";
  const std::string code = R"({"ResponseHeader":{"ErrorCode":5}})", none = R"({"ResponseHeader":{}})";
  const struct {
    std::string answer;  // "" is a failure of the router
    int result;
    std::string firmware, hardware, says;
  } kCases[] = {
      {head + R"(,"Company":"ACME","HardwareVersion":"R1"}})", 0, "7", "ACME_R1", ""},
      {head + R"(,"Company":")" + std::string(80, 'c') + R"(","HardwareVersion":""}})", 0, "7",
       std::string(63, 'c'), ""},
      {head + "}}", -1, "7", "", failed("get_cjson_item]parse type[4] key[Company]", head + "}}")},
      {R"({"ResponseHeader":{"ErrorCode":5,"ErrorMsg":"busy"}})", 5, "", "", refused},
      {code, -1, "", "", failed("parse_response_header]parse ErrorMsg", code) + refused},
      {none, -1, "", "", failed("parse_response_header]parse ErrorCode", none) + refused},
      {"{}", -1, "", "", failed("parse_response_header]parse ReponseHeader", "{}") + refused},
      {"[%s]", -1, "", "", "W [zel_get_hw_info_from_fw]HttpGet res[[%s]] parse FAIL!\n"},
      {"", -1, "", "", "W [excute_http_get]HttpGet excute FAIL! req_url" + url},
  };
  for (const auto& c : kCases) {
    std::string text;
    for (const char letter : c.answer) text += letter == '"' ? "\\\"" : std::string(1, letter);
    test::set_router_fault(R"({"method": "*", "count": 1, "kind": )" +
                           (text.empty() ? "\"http500\"}" : R"("garbage", "text": ")" + text + "\"}"));
    char* firmware = nullptr;
    char* hardware = nullptr;
    EXPECT_EQ(
        qo_logged([&] { EXPECT_EQ(zel_get_hw_info_from_fw(&firmware, &hardware), c.result) << c.answer; }),
        "D [excute_http_get]req buffer" + url + c.says);
    EXPECT_EQ(firmware != nullptr ? firmware : "", c.firmware) << c.answer;
    EXPECT_EQ(hardware != nullptr ? hardware : "", c.hardware) << c.answer;
    free(firmware);
    free(hardware);
  }
}

}  // namespace
