#include <gtest/gtest.h>
#include <sys/time.h>

#include <climits>
#include <cstdlib>
#include <limits>

#include "exact.h"
#include "zel/util.h"

TEST(Md5String, GivesTheKnownDigests) {
  static const struct {
    const char* text;
    const char* digest;
  } kCases[] = {{"", "d41d8cd98f00b204e9800998ecf8427e"},
                {"a", "0cc175b9c0f1b6a831c399e269772661"},
                {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
                {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
                 "57edf4a22be3c955ac49da2e2107b67a"}};
  for (const auto& c : kCases) {
    Exact data{std::string(c.text)};
    Exact out(33);
    EXPECT_EQ(md5_string(data.data(), static_cast<int>(data.size()), out.data()), out.data());
    EXPECT_STREQ(out.data(), c.digest);
  }
  Exact out(33);
  EXPECT_STREQ(md5_string("abc", -3, out.data()), kCases[0].digest);
  EXPECT_STREQ(md5_string(nullptr, 3, out.data()), kCases[0].digest);
  EXPECT_EQ(md5_string("abc", 3, nullptr), nullptr);
}

TEST(Time2Str, WritesLocalTimeBoundedBySize) {
  setenv("TZ", "XYZ-2", 1);
  tzset();
  Exact out(20);
  EXPECT_EQ(time2str(0, out.data(), out.size()), out.data());
  EXPECT_STREQ(out.data(), "1970-01-01 02:00:00");
  EXPECT_STREQ(time2str(1709960701, out.data(), out.size()), "2024-03-09 07:05:01");
  Exact small(8);
  EXPECT_STREQ(time2str(0, small.data(), small.size()), "1970-01");
  Exact nothing(0);
  EXPECT_EQ(time2str(0, nothing.data(), 0), nothing.data());
  EXPECT_EQ(time2str(0, nullptr, 20), nullptr);
}

TEST(Time2Str, PrintsATimeThatHasNoDate) {
  if (sizeof(time_t) < 8) GTEST_SKIP() << "every 32-bit time has a date";
  setenv("TZ", "UTC", 1);
  Exact out(40);
  testing::internal::CaptureStdout();
  EXPECT_EQ(time2str(std::numeric_limits<time_t>::max(), out.data(), out.size()), nullptr);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "localtime fail. 75, Value too large for defined data type\n");
  EXPECT_TRUE(out.untouched());
  const auto last = static_cast<time_t>(67768036191676799);
  EXPECT_STREQ(time2str(last, out.data(), out.size()), "2147485547-12-31 23:59:59");
}

TEST(I2s, WritesDecimalBoundedBySize) {
  Exact out(12);
  EXPECT_EQ(i2s(INT_MIN, out.data(), out.size()), out.data());
  EXPECT_STREQ(out.data(), "-2147483648");
  Exact small(3);
  EXPECT_STREQ(i2s(1234, small.data(), small.size()), "12");
  Exact nothing(0);
  EXPECT_EQ(i2s(1, nothing.data(), 0), nullptr);
  EXPECT_EQ(i2s(1, nullptr, 5), nullptr);
}

TEST(ParseTime, ReadsUpToThreeFields) {
  static const struct {
    const char* why;
    const char* text;
    int seconds;
  } kCases[] = {
      {"all three", "01:02:03", 3723},
      {"one field is hours", "5", 18000},
      {"two fields", "1:1", 3660},
      {"a missing field ends the reading", "1::7", 3600},
      {"no number at all", "x:1:1", 0},
      {"blanks before a number", " 1: 2: 3", 3723},
      {"no blank before the colon", "1 :2:3", 3600},
      {"what follows is ignored", "0:0:9:8x", 9},
      {"signs", "-1:+30:-5", -1805},
      {"fields over 59", "0:90:90", 5490},
      {"decimal, not octal or hexadecimal", "010:0x9", 36000},
      {"too many hours", "99999999999999999999:0:0", INT_MAX},
      {"too many hours back", "-4000000000", INT_MIN},
      {"the largest result", "0:0:2147483647", INT_MAX},
      {"empty", "", 0},
      {"null", nullptr, 0},
  };
  for (const auto& c : kCases) EXPECT_EQ(parse_time(c.text), c.seconds) << c.why;
}

TEST(GenerateRandHexFill, WritesDigitsOfRandSeededWithTheTimeOfDay) {
  const auto seed_now = [] {
    struct timeval now;
    gettimeofday(&now, nullptr);
    return static_cast<unsigned>(now.tv_sec % 1000 + now.tv_usec);
  };
  const auto digits_from = [](unsigned seed) {
    srand(seed);
    std::string digits;
    for (int i = 0; i < 32; ++i) digits += "0123456789abcdef"[rand() & 15];
    return digits;
  };
  // A turn of the second in between would make the range useless; one of some tries has none.
  for (int attempt = 0; attempt < 5; ++attempt) {
    Exact out(33);
    const unsigned before = seed_now();
    generate_rand_hex_fill(out.data(), 32);
    const unsigned after = seed_now();
    EXPECT_EQ(out.all()[32], '\0');
    EXPECT_EQ(out.all().find_first_not_of("0123456789abcdef"), 32U);
    for (unsigned seed = before; seed <= after; ++seed) {
      if (digits_from(seed) + '\0' == out.all()) return;
    }
  }
  FAIL() << "no seed of the time of day gives the digits";
}

TEST(GenerateRandHexFill, LengthsOfZeroAndLessWriteTheNulOnly) {
  for (const int length : {0, -1, INT_MIN}) {
    Exact out(1);
    generate_rand_hex_fill(out.data(), length);
    EXPECT_EQ(out.all(), std::string(1, '\0'));
  }
  generate_rand_hex_fill(nullptr, 5);
}
