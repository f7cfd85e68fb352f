#include <cstdlib>
#include <limits>

#include "support/cases.h"

TEST(Md5String, GivesTheKnownDigests) {
  Exact data(std::string("message digest"));
  Exact out(33);
  EXPECT_STREQ(md5_string(data.data(), 14, out.data()), "f96b697d7cb7938d525a2f31aaf161d0");
  const char* const of_nothing = "d41d8cd98f00b204e9800998ecf8427e";
  EXPECT_STREQ(md5_string("abc", -3, out.data()), of_nothing);
  EXPECT_STREQ(md5_string(nullptr, 3, out.data()), of_nothing);
  EXPECT_EQ(md5_string("abc", 3, nullptr), nullptr);
}

TEST(Time2Str, WritesLocalTimeBoundedBySize) {
  setenv("TZ", "XYZ-2", 1);
  Exact out(20);
  EXPECT_STREQ(time2str(1709960701, out.data(), out.size()), "2024-03-09 07:05:01");
  Exact small(8);
  EXPECT_STREQ(time2str(0, small.data(), small.size()), "1970-01");
  EXPECT_NE(time2str(0, Exact(0).data(), 0), nullptr);
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
  Exact out(3);
  EXPECT_STREQ(i2s(-1234, out.data(), out.size()), "-1");
  EXPECT_EQ(i2s(1, Exact(0).data(), 0), nullptr);
  EXPECT_EQ(i2s(1, nullptr, 5), nullptr);
}

TEST(ParseTime, ReadsUpToThreeFields) {
  const Rows<Text, int> rows = {
      {"a missing field ends the reading", "1::7", 3600},
      {"no number at all", "x:1:1", 0},
      {"blanks before a number", " 1: 2: 3", 3723},
      {"no blank before the colon", "1 :2:3", 3600},
      {"what follows is ignored", "0:0:9:8x", 9},
      {"signs, and fields over 59", "-1:+90:-5", 1795},
      {"decimal, not octal or hexadecimal", "010:0x9", 36000},
      {"too many hours", "99999999999999999999:0:0", INT_MAX},
      {"too many hours back", "-4000000000", INT_MIN},
      {"null", nullptr, 0},
  };
  for (const auto& [why, text, seconds] : rows) EXPECT_EQ(parse_time(text), seconds) << why;
}

TEST(GenerateRandHexFill, WritesDigitsAndSeedsRandAnew) {
  Exact out(33);
  srand(7);
  const int unseeded = rand();
  generate_rand_hex_fill(out.data(), 32);
  EXPECT_EQ(out.all().find_first_not_of("0123456789abcdef"), 32U);
  EXPECT_EQ(out.all()[32], '\0');
  Exact later(out.all());  // by some microseconds
  for (int i = 0; i < 1000 && later.all() == out.all(); ++i) generate_rand_hex_fill(later.data(), 32);
  EXPECT_NE(later.all(), out.all());
  srand(7);
  Exact nul_only(1);
  generate_rand_hex_fill(nul_only.data(), -1);
  EXPECT_EQ(nul_only.data()[0], '\0');
  EXPECT_NE(rand(), unseeded);
}

TEST(SprintfAlloc, AllocatesOrEndsTheProcess) {
  char* text = nullptr;
  const std::string large(5000, 'x');
  EXPECT_EQ(zel_sprintf_alloc(&text, "%d %s", 7, large.c_str()), 5002);
  EXPECT_EQ(text, "7 " + large);
  free(xrealloc(text, 2));
  EXPECT_EXIT(zel_sprintf_alloc(&text, "%lc", wint_t{0x20AC}), testing::ExitedWithCode(1),
              "^zel_sprintf_alloc: encountered an output or encoding error during vsnprintf.\n$");
}
