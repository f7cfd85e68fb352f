// The device's identity, and the daemon's answers: from the box's own files, scripts and router, and some in
// their place.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <zel/device.h>

#include <array>
#include <cstdlib>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"
#include "support/router.h"

namespace {

constexpr const char* kScript = "/usr/local/localshell/norva_daemon_shell";

TEST(DaemonCommands, AskTheScriptByTheirNumbers) {
  put_script(kScript, "printf '%s\\n' \"$*\"; exit 3\n");
  const std::pair<int, std::string> kCases[] = {{39, "getsign"},    {40, "get_cloudsign"},
                                                {41, "get_lanmac"}, {42, "weburl query_state"},
                                                {43, "weburl %s"},  {44, "weburl query_blackurls"}};
  char buffer[64] = "abc";
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(norva_config_get(7, buffer, 3), -1); }),
            "E [norva_config_get]Invalid arguments!\n");
  EXPECT_EQ(std::string(buffer, 3), std::string(3, '\0'));
  for (const auto& [key, words] : kCases) {
    EXPECT_EQ(qo_logged([&, k = key] { EXPECT_EQ(norva_config_get(k, buffer, sizeof buffer), 3 << 8); }),
              "D [norva_config_get]Command[" + std::string(kScript) + " " + words + "] result:\n   " + words +
                  "\n");
  }
}

TEST(DaemonCommands, KeepTheLinesThatFitAndNeverWritePastTheBuffer) {
  const std::tuple<const char*, std::string, size_t, std::string> kCases[] = {
      {"the last line's end goes", "a\\nb\\n", 9, "a\nb"},
      {"one character only", "a\\r\\n", 9, "a\r"},
      {"fits exactly with its NUL", "1234567\\n", 9, "1234567"},
      {"one too long", "12345678\\n", 9, ""},
      {"nothing behind what did not fit", "ab\\n12345678\\nc\\n", 9, "ab"},
      {"a line in two pieces", std::string(300, 'x'), 270, std::string(255, 'x')},
      {"no room at all", "a", 0, ""}};
  for (const auto& [why, output, length, kept] : kCases) {
    put_script(kScript, "printf '" + output + "'\n");
    std::string buffer(400, '!');
    EXPECT_EQ(norva_config_get(39, buffer.data(), static_cast<int>(length)), 0) << why;
    EXPECT_EQ(buffer, kept + std::string(length - kept.size(), '\0') + std::string(400 - length, '!')) << why;
  }
}

TEST(DaemonCommands, WithoutABufferGoOnByThemselves) {
  ASSERT_TRUE(mkfifo("/tmp/gate", 0600) == 0 && mkfifo("/tmp/done", 0600) == 0);
  put_script(kScript, "read word </tmp/gate; echo output; echo more; echo \"$word $*\" >/tmp/done\n");
  const int done = open("/tmp/done", O_RDWR);
  const int next = dup(done);
  close(next);
  EXPECT_EQ(norva_config_get(8, nullptr, 0), 0) << "returns while the script waits";
  EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
  put("/tmp/gate", "go\n");
  pollfd event{done, POLLIN, 0};
  ASSERT_EQ(poll(&event, 1, 20000), 1) << "the script ended at its first output";
  char text[32] = "";
  EXPECT_EQ(read(done, text, sizeof text), 11);
  EXPECT_STREQ(text, "go upgrade\n");
}

TEST(LanMac, IsSixGroupsOfTwoDigits) {
  using Mac = std::array<uint8_t, 6>;
  const std::pair<std::string, Mac> kCases[] = {
      {"a4:5e:60:0b:1c:ff", {0xa4, 0x5e, 0x60, 0x0b, 0x1c, 0xff}},
      {"A4:5E", {0xa4, 0x5e, 0, 0, 0, 0}},
      {"a45:5e6:60:0b:1c:ff333", {0xa4, 0x5e, 0x60, 0x0b, 0x1c, 0xff}},
      {"", {0, 0, 0, 0, 0, 0}}};
  for (const auto& [text, mac] : kCases) {
    test::change_router_state(R"({"DaemonShell": {"get_lanmac": ")" + text + "\"}}");
    Mac found{0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(zel_get_lan_mac(found.data()), 0);
    EXPECT_EQ(found, mac) << text;
  }
}

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
