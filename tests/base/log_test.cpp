#include <gtest/gtest.h>
#include <zel/service.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <string>

#include "base/log.h"
#include "base/plain_format.h"
#include "support/captured.h"

namespace {

std::string last_syslog;
int last_priority = -1;

// The text behind "[MM-DD hh:mm:ss] ".
std::string text_of(const std::string& line) {
  return line.substr(line.find("] ") + 2);
}

}  // namespace

// Stands in for the system's: expands what it is given, as syslog does.
ZEL_PRINTF(2, 0) static void keep_syslog(int priority, const char* format, va_list arguments) {
  char text[8192];
  vsnprintf(text, sizeof text, format, arguments);
  last_priority = priority;
  last_syslog = text;
}
extern "C" void syslog(int priority, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep_syslog(priority, format, arguments);
  va_end(arguments);
}
// What it is called where the compiler checks formats.
extern "C" void __syslog_chk(int priority, int, const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  keep_syslog(priority, format, arguments);
  va_end(arguments);
}

TEST(ZelLog, WritesTextAsItIsAndLetsSyslogExpandOnlyWhatNeedsNoArgument) {
  static const struct {
    const char* why;
    const char* text;
    const char* in_syslog;
  } kCases[] = {
      {"plain", "hello", "hello"},
      {"doubled percent is one", "50%% done", "50% done"},
      {"errno's text", "failed: %m", "failed: No such file or directory"},
      {"conversions that would read arguments", "%s%n%d%x %5m %*d", "%s%n%d%x %5m %*d"},
      {"a lone percent sign at the end", "100%", "100%"},
      {"three in a row", "%%%s", "%%s"},
  };
  for (const auto& c : kCases) {
    const std::string written = captured(stderr, [&] {
      errno = ENOENT;
      zel_log(5, "%s", c.text);
      EXPECT_EQ(errno, ENOENT) << c.why;
    });
    EXPECT_EQ(text_of(written), std::string(c.text) + "\n") << c.why;
    EXPECT_EQ(last_syslog, c.in_syslog) << c.why;
    EXPECT_EQ(last_priority, 5);
  }
}

TEST(ZelLog, BeginsWithMonthDayAndTimeAndCutsLongTexts) {
  const std::string line = captured(stderr, [] { zel_log(3, "%s", std::string(3000, 'x').c_str()); });
  int month, day, hour, minute, second, taken = 0;
  ASSERT_EQ(sscanf(line.c_str(), "[%2d-%2d %2d:%2d:%2d] %n", &month, &day, &hour, &minute, &second, &taken),
            5);
  EXPECT_EQ(taken, 17);
  EXPECT_EQ(line.size(), 17U + 2046U + 1U);
  EXPECT_EQ(last_syslog, std::string(2046, 'x'));
}

TEST(ZelLog, MessagesHaveTwoFormsAndTracesOnlyTheLongOne) {
  const auto both = [] {
    ZEL_LOG(3, "[ZEL]", "gone: %d\n", 7);
    ZEL_TRACE("[ZEL]", "seen\n");
  };
  zel_debug = 0;
  EXPECT_EQ(text_of(captured(stderr, both)), "[ZEL] gone: 7\n\n");
  zel_debug = 1;
  const std::string lines = captured(stderr, both);
  EXPECT_NE(lines.find("[ZEL] operator():"), std::string::npos) << lines;
  EXPECT_NE(lines.find(" seen\n"), std::string::npos) << lines;
}

TEST(PlainFormat, NeverWritesPastTheBufferNorSplitsADoubledSign) {
  for (size_t size = 1; size <= 8; ++size) {
    std::string out(size, '?');
    zel::plain_format("a%sb%%c%m", out.data(), size);
    EXPECT_EQ(out.c_str(), std::string("a%%sb%%c%m")
                               .substr(0, size == 3   ? 1
                                          : size == 7 ? 5
                                                      : size - 1))
        << size;
  }
}

TEST(QoLog, ShowsUpToTheThresholdAndKeepsAllButDebugLines) {
  static const struct {
    int level;
    unsigned int threshold;
    const char* shown;
    bool kept;
  } kCases[] = {{0, 1, "[F-", true}, {1, 1, "[E-", true},  {2, 1, "", true},
                {3, 1, "", true},    {4, 1, "", false},    {4, 4, "[D-", false},
                {3, 4, "[I-", true}, {7, 9, "[?-", false}, {-1, 4, "", true}};
  for (const auto& c : kCases) {
    memset(errlog_buffer, 0, sizeof errlog_buffer);
    pos = 0;
    EXPECT_EQ(QO_LogSetLevel(c.threshold), &qo_debuglevel);
    const std::string line = captured(stderr, [&] { EXPECT_EQ(QO_Log(c.level, "[%s]x", "f"), 0); });
    EXPECT_EQ(line.substr(0, 3), c.shown) << c.level;
    EXPECT_EQ(pos != 0, c.kept) << c.level;
    if (!line.empty()) {
      EXPECT_EQ(text_of(line), "[f]x\n");
      EXPECT_EQ(c.kept ? line : "", errlog_buffer);
    }
  }
}

TEST(ErrorBuffer, WrapsAndTerminatesOnlyFreshSpace) {
  constexpr int kSize = sizeof errlog_buffer;
  static const struct {
    const char* why;
    int start;
    char filler;
    int length;
    int end;
    char behind;
  } kCases[] = {
      {"fresh space is terminated", 10, '\0', 5, 15, '\0'},
      {"older text is not cut", 10, 'o', 5, 15, 'o'},
      {"fits exactly before the end", kSize - 1 - 5, '\0', 5, kSize - 1, '\0'},
      {"one byte too long wraps, no terminator", kSize - 5, 'o', 5, 5, 'o'},
      {"position spoilt by the plug-in, negative", -3, 'o', 5, 5, 'o'},
      {"position spoilt by the plug-in, too large", kSize + 9, 'o', 5, 5, 'o'},
      {"negative length", 10, 'o', -1, 10, 'o'},
      {"as long as the buffer", 10, '\0', kSize, kSize, 'n'},
      {"longer than the buffer is cut", 0, '\0', kSize + 100, kSize, 'n'},
  };
  const std::string line(static_cast<size_t>(kSize) + 200, 'n');
  for (const auto& c : kCases) {
    memset(errlog_buffer, c.filler, sizeof errlog_buffer);
    pos = c.start;
    add_to_errbuff(errlog_buffer, line.c_str(), c.length);
    EXPECT_EQ(pos, c.end) << c.why;
    EXPECT_EQ(errlog_buffer[std::min(c.end, kSize - 1)], c.behind) << c.why;
    EXPECT_EQ(errlog_buffer[c.end - 1], c.length > 0 ? 'n' : c.filler) << c.why;
  }
}

TEST(LogMask, SetsTheBitModulo32) {
  EXPECT_EQ(*lk_log_en(3), 8U);
  EXPECT_EQ(*lk_log_en(33), 10U);
  EXPECT_STREQ(g_apcModuleName[0], "Phishing");
}
