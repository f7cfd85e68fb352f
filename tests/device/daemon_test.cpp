// Questions to the daemon's script: the box's own, and some in its place.
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>
#include <zel/device.h>

#include <array>

#include "support/disk.h"
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
  const std::string long_line(300, 'x');
  const struct {
    const char* why;
    std::string output;
    size_t length;
    std::string kept;
  } kCases[] = {{"the last line's end goes", "a\\nb\\n", 9, "a\nb"},
                {"one character only", "a\\r\\n", 9, "a\r"},
                {"fits exactly with its NUL", "1234567\\n", 9, "1234567"},
                {"one too long", "12345678\\n", 9, ""},
                {"nothing behind what did not fit", "ab\\n12345678\\nc\\n", 9, "ab"},
                {"a line in two pieces", long_line, 270, std::string(255, 'x')},
                {"no room at all", "a", 0, ""}};
  for (const auto& c : kCases) {
    put_script(kScript, "printf '" + c.output + "'\n");
    std::string buffer(400, '!');
    EXPECT_EQ(norva_config_get(39, buffer.data(), static_cast<int>(c.length)), 0) << c.why;
    EXPECT_EQ(buffer, c.kept + std::string(c.length - c.kept.size(), '\0') + std::string(400 - c.length, '!'))
        << c.why;
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

}  // namespace
