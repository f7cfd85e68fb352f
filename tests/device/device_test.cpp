// The device's identity and state, and the daemon's answers: from the box's own files and scripts, or some in their
// place.
#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <zel/device.h>

#include <array>
#include <csignal>

#include "support/disk.h"
#include "support/process.h"
#include "support/qo_logged.h"
#include "support/router.h"
#include "support/tools.h"

namespace {

constexpr const char* kScript = "/usr/local/localshell/norva_daemon_shell";
constexpr const char* kInfo = "/tmp/norva_daemon.info";

TEST(DaemonCommands, AskTheScriptByTheirNumbers) {
  put_script(kScript, "printf '%s\\n' \"$*\"; exit 3\n");
  char buffer[64] = "abc";
  const std::pair<int, const char*> kCases[] = {{7, ""},
                                                {39, "getsign"},
                                                {40, "get_cloudsign"},
                                                {42, "weburl query_state"},
                                                {43, "weburl %s"},
                                                {44, "weburl query_blackurls"}};
  for (const auto& [key, words] : kCases) {
    norva_config_get(key, buffer, sizeof buffer);
    EXPECT_STREQ(buffer, words) << key;
  }
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(norva_config_get(7, buffer, 3), -1); }),
            "E [norva_config_get]Invalid arguments!\n");
  EXPECT_EQ(qo_logged([&] { EXPECT_EQ(norva_config_get(39, buffer, 64), 3 << 8); }),
            std::string("D [norva_config_get]Command[") + kScript + " getsign] result:\n   getsign\n");
}

TEST(DaemonCommands, KeepTheLinesThatFitAndNeverWritePastTheBuffer) {
  const std::tuple<std::string, size_t, std::string> kCases[] = {
      {"a\\r\\n", 9, "a\r"},                // one character only goes
      {"1234567\\n", 9, "1234567"},         // fits exactly with its NUL
      {"ab\\n12345678\\nc\\n", 9, "ab\n"},  // nothing stays behind what did not fit
      {std::string(300, 'x'), 270, std::string(255, 'x')},
      {"a", 0, ""}};
  for (const auto& [output, length, kept] : kCases) {
    put_script(kScript, "printf '" + output + "'\n");
    std::string buffer(400, '!');
    EXPECT_EQ(norva_config_get(39, buffer.data(), static_cast<int>(length)), 0);
    EXPECT_EQ(buffer, kept + std::string(length - kept.size(), '\0') + std::string(400 - length, '!'));
  }
}

TEST(DaemonCommands, LoseTheirStatusAloneInAProgramThatReapsEveryChild) {
  put_script(kScript, "echo one; exit 3\n");
  signal(SIGCHLD, SIG_IGN);
  char text[32] = "";
  EXPECT_EQ(norva_config_get(39, text, sizeof text), -1);
  EXPECT_STREQ(text, "one");
}

TEST(DaemonCommands, WithoutABufferGoOnByThemselves) {
  for (const char* path : {"/tmp/gate", "/tmp/done"}) ASSERT_EQ(mkfifo(path, 0600), 0) << path;
  put_script(kScript, "read word </tmp/gate; echo output; echo more; echo \"$word $*\" >/tmp/done\n");
  const int done = open("/tmp/done", O_RDWR);
  EXPECT_EQ(norva_config_get(8, nullptr, 0), 0) << "returns while the script waits";
  EXPECT_EQ(fcntl(done + 1, F_GETFD), FD_CLOEXEC);
  put("/tmp/gate", "go\n");
  pollfd event{done, POLLIN, 0};
  ASSERT_EQ(poll(&event, 1, 20000), 1) << "the script ended at its first output";
  char text[32] = "";
  EXPECT_EQ(read(done, text, sizeof text), 11);
  EXPECT_STREQ(text, "go upgrade\n");
}

TEST(LanMac, IsSixGroupsOfTwoDigits) {
  using Mac = std::array<uint8_t, 6>;
  const Mac mac{0xa4, 0x5e, 0x60, 0x0b, 0x1c, 0xff};
  for (const auto& [text, bytes] : {std::pair("", mac),  // the box's own
                                    std::pair("a45:5e6:60:0b:1c:ff333", mac),
                                    std::pair("A4:5E", Mac{0xa4, 0x5e}), std::pair("\\n", Mac{})}) {
    if (*text != '\0') put_script(kScript, std::string("printf '") + text + "'\n");
    Mac found{0x77, 0x77, 0x77, 0x77, 0x77, 0x77};
    EXPECT_EQ(zel_get_lan_mac(found.data()), 0);
    EXPECT_EQ(found, bytes) << text;
  }
}

TEST(DeviceInfo, IsReadFromTheDaemonsFileUpToWhatIsMissing) {
  zel_device_info info;
  EXPECT_EQ(run_as(10002, [&] { return zel_get_device_info(&info); }), 0) << "plug-ins may read it";
  const std::string name(80, 'n');
  test::change_router_state(R"({"DaemonInfo": {"deviceName": ")" + name + "\"}}");
  ASSERT_EQ(zel_get_device_info(&info), 0);
  EXPECT_EQ(std::string(info.device_id) + info.daemon_version + info.hw_name, "N01234567892.1.0ACME_R1");
  EXPECT_EQ(std::string(info.deviceName, 64) + info.fw_version, name.substr(0, 64) + "1.4.2");
  EXPECT_EQ(info.zelSdkVersion, 3);
  test::change_router_state(R"({"DaemonInfo": {"zelSdkVersion": "3", "deviceName": "n"}})");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  EXPECT_EQ(std::string(info.deviceName) + info.hw_name, "n") << "cleared and not reached";
  put(kInfo, "{");
  EXPECT_EQ(zel_get_device_info(&info), -1);
  EXPECT_EQ(zel_get_device_info(nullptr), -1);
  ASSERT_EQ(unlink(kInfo), 0);
  ASSERT_EQ(mkfifo(kInfo, 0666), 0);
  EXPECT_EQ(zel_get_device_info(&info), -1) << "waits for nobody";
}

TEST(HardwareInfo, IsTheRoutersWithItsCodesAndMessages) {
  const std::string refused = "W [zel_get_hw_info_from_fw]res parse FAIL or error_code nonzero!\n",
                    head = R"({"ResponseHeader":{"ErrorCode":0,"ErrorMsg":""},"Info":{"FirmwareVersion":"7")";
  const struct {
    std::string answer, firmware, hardware;
    int result;
    std::string says;
  } kCases[] = {
      {head + R"(,"Company":"ACME","HardwareVersion":"R1"}})", "7", "ACME_R1", 0, ""},
      {head + R"(,"Company":")" + std::string(80, 'c') + R"(","HardwareVersion":""}})", "7",
       std::string(63, 'c'), 0, ""},
      {head + "}}", "7", "-", -1, "W [get_cjson_item]parse type[4] key[Company] FAIL! res[" + head + "}}]\n"},
      {R"({"ResponseHeader":{"ErrorCode":5,"ErrorMsg":"busy"}})", "-", "-", 5, refused},
      {"{}", "-", "-", -1, "W [parse_response_header]parse ReponseHeader FAIL! res[{}]\n" + refused},
      {"[%s]", "-", "-", -1, "W [zel_get_hw_info_from_fw]HttpGet res[[%s]] parse FAIL!\n"}};
  for (const auto& c : kCases) {
    std::string text;
    for (const char letter : c.answer) text += letter == '"' ? "\\\"" : std::string(1, letter);
    test::set_router_fault(R"({"method": "*", "count": 1, "kind": "garbage", "text": ")" + text + "\"}");
    char *firmware = nullptr, *hardware = nullptr;
    int result = 7;
    EXPECT_EQ(
        qo_logged([&] { result = zel_get_hw_info_from_fw(&firmware, &hardware); }),
        "D [excute_http_get]req buffer[http://127.0.0.1:14000/api?method=query_router_info]\n" + c.says);
    const auto word = [](const char* name) { return std::string(name != nullptr ? name : "-"); };
    EXPECT_EQ(result, c.result) << c.answer;
    EXPECT_EQ(word(firmware), c.firmware) << c.answer;
    EXPECT_EQ(word(hardware), c.hardware) << c.answer;
    free(firmware);
    free(hardware);
  }
}

TEST(Memory, IsReportedInBothLayouts) {
  int total = -1, used = -1;
  with_both_layouts([&] {
    EXPECT_EQ(qo_get_memory_info(&total, &used), 0);
    EXPECT_EQ(total, GetRamInKB() / 1000);
    EXPECT_TRUE(used > 0 && used < total) << used;
  });
  setenv("PATH", "/none", 1);
  EXPECT_EQ(qo_get_memory_info(&total, &used), 127 << 8) << "no such tool";
  EXPECT_EQ(std::pair(total, used), std::pair(0, 0));
}

TEST(Process, IsFoundByItsNameInBothLayouts) {
  prctl(PR_SET_NAME, "it's on");
  with_both_layouts([] {
    const std::string longest = "." + std::string(96, '*'), longer = longest + "*";  // in every line
    const std::pair<const char*, int> kCases[] = {{"it's on", 0}, {longest.c_str(), 0}, {"it's off", -1},
                                                  {"grep", -1},   {nullptr, -1},        {longer.c_str(), -1}};
    for (const auto& [name, result] : kCases) EXPECT_EQ(zel_detect_proc(name), result) << name;
  });
}

}  // namespace
