#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>

#include "exact.h"
#include "zel/util.h"

TEST(Case, OnlyTheAsciiLettersChange) {
  for (int c = -300; c < 600; ++c) {
    EXPECT_EQ(qo_tolower(c), c >= 'A' && c <= 'Z' ? c + 32 : c);
    EXPECT_EQ(qo_oupper(c), c >= 'a' && c <= 'z' ? c - 32 : c);
  }
  EXPECT_EQ(qo_tolower(INT_MIN), INT_MIN);
  EXPECT_EQ(qo_oupper(INT_MAX), INT_MAX);
}

TEST(Freep, FreesAndClearsThePointer) {
  int* numbers = static_cast<int*>(std::malloc(8));
  qo_freep(&numbers);
  EXPECT_EQ(numbers, nullptr);
  qo_freep(&numbers);
  qo_freep(nullptr);
}

TEST(Charncpy, CopiesExactlyNBytesAndReturnsOneMore) {
  Exact out(3);
  EXPECT_EQ(qo_charncpy(out.data(), Exact(std::string("a\0b", 3)).data(), 3), 4U);
  EXPECT_EQ(out.all(), std::string("a\0b", 3));
  EXPECT_EQ(qo_charncpy(out.data(), "x", 0), 1U);
  EXPECT_EQ(out.all()[0], 'a');
  EXPECT_EQ(qo_charncpy(out.data(), nullptr, 0), 0U) << "a null source writes its NUL whatever n is";
  EXPECT_EQ(out.all(), std::string("\0\0b", 3));
  EXPECT_EQ(qo_charncpy(nullptr, "x", 1), 0U);
}

TEST(Strncpy, CutsTerminatesAndReturnsTheWholeLength) {
  static const struct {
    const char* why;
    const char* source;
    size_t size;
    size_t result;
    const char* out;
  } kCases[] = {
      {"cut", "hello", 4, 5, "hel"},
      {"fits exactly", "hello", 6, 5, "hello"},
      {"one too small", "hello", 5, 5, "hell"},
      {"room for the NUL only", "hello", 1, 5, ""},
      {"empty text", "", 1, 0, ""},
      {"null text", nullptr, 1, 0, ""},
  };
  for (const auto& c : kCases) {
    Exact out(c.size);
    EXPECT_EQ(qo_strncpy(out.data(), c.source, c.size), c.result) << c.why;
    EXPECT_STREQ(out.data(), c.out) << c.why;
  }
  Exact nothing(0);
  EXPECT_EQ(qo_strncpy(nothing.data(), "hello", 0), 5U);
  EXPECT_EQ(qo_strncpy(nothing.data(), nullptr, 0), 0U);
  EXPECT_EQ(qo_strncpy(nullptr, "hello", 9), 5U);
  char shifted[] = "abcdef";
  qo_strncpy(shifted, shifted + 2, sizeof shifted);
  EXPECT_STREQ(shifted, "cdef");
}

TEST(Compare, GivesTheDifferenceOfTheFirstDifferentBytes) {
  static const struct {
    const char* why;
    const char* a;
    const char* b;
    size_t n;
    int limited;
    int whole;
  } kCases[] = {
      {"equal ignoring case", "HeLLo", "hEllO", 5, 0, 0},
      {"a is shorter", "ab", "abc", 3, -'c', -'c'},
      {"b is shorter", "abc", "AB", 3, 'c', 'c'},
      {"letters are lowered before subtracting", "A", "_", 1, 'a' - '_', 'a' - '_'},
      {"bytes above 127 are unsigned", "\xFF", "a", 1, 0xFF - 'a', 0xFF - 'a'},
      {"no case above 127", "\xC4", "\xE4", 1, 0xC4 - 0xE4, 0xC4 - 0xE4},
      {"differs after the limit", "abX", "abY", 2, 0, -1},
      {"the first byte counts even with n 0", "a", "b", 0, -1, -1},
      {"n 0 and equal first bytes", "ax", "ay", 0, 0, -1},
      {"a null first text is 1", nullptr, "a", 1, 1, 1},
      {"a null second text is 1", "a", nullptr, 0, 1, 1},
      {"two nulls are not equal", nullptr, nullptr, 1, 1, 1},
      {"the end stops before the limit", "ab", "ab", 99, 0, 0},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(qo_strncasecmp(c.a, c.b, c.n), c.limited) << c.why;
    EXPECT_EQ(qo_strcasecmp(c.a, c.b), c.whole) << c.why;
  }
  EXPECT_EQ(qo_strncasecmp(Exact("ab").data(), Exact("AB").data(), 2), 0) << "reads no byte past n";
}

TEST(Stristart, FindsThePrefixAndTellsTheRest) {
  const char* const text = "Content-Type: x";
  const char* rest = nullptr;
  EXPECT_EQ(qo_stristart(text, "content-type:", &rest), 1);
  EXPECT_EQ(rest, text + 13);
  EXPECT_EQ(qo_stristart(text, "", &rest), 1);
  EXPECT_EQ(rest, text);
  rest = nullptr;
  EXPECT_EQ(qo_stristart(text, "content-length", &rest), 0);
  EXPECT_EQ(qo_stristart("Con", "content", &rest), 0);
  EXPECT_EQ(qo_stristart(nullptr, "", &rest), 0);
  EXPECT_EQ(qo_stristart(text, nullptr, &rest), 0);
  EXPECT_EQ(rest, nullptr);
  EXPECT_EQ(qo_stristart(text, "CONTENT", nullptr), 1);
}

TEST(Stristr, FindsTheFirstPlace) {
  const char* const text = "say Hello hello";
  EXPECT_EQ(qo_stristr(text, "hELLO"), text + 4);
  EXPECT_EQ(qo_stristr(text, ""), text);
  EXPECT_EQ(qo_stristr(text, "hello!"), nullptr);
  EXPECT_EQ(qo_stristr("", "x"), nullptr);
  EXPECT_NE(qo_stristr("", ""), nullptr);
  EXPECT_EQ(qo_stristr("aab", "AB")[0], 'a');
  EXPECT_EQ(qo_stristr(nullptr, "x"), nullptr);
  EXPECT_EQ(qo_stristr("x", nullptr), nullptr);
}

TEST(StringIsUrl, KnowsOneSchemeOnly) {
  static const struct {
    const char* text;
    int is;
  } kCases[] = {{"http://a", 1},  {"HTTP://", 1}, {"https://a", 0}, {"http:/", 0},
                {" http://a", 0}, {"ftp://a", 0}, {"", 0},          {nullptr, 0}};
  for (const auto& c : kCases)
    EXPECT_EQ(string_is_url(c.text), c.is) << (c.text != nullptr ? c.text : "null");
}

TEST(Trim, RemovesBlanksBeforeTheLengthAndOneAtTheFront) {
  static const struct {
    const char* why;
    const char* text;
    int length;
    const char* result;
    const char* left;  // what the buffer holds then
  } kCases[] = {
      {"all four characters at the end", "x \t\r\n", 5, "x", "x"},
      {"only one at the front", "  x", 3, " x", "  x"},
      {"each of the four at the front", "\nx", 2, "x", "\nx"},
      {"both ends", " a b ", 5, "a b", " a b"},
      {"other control characters stay", "\vx\f", 3, "\vx\f", "\vx\f"},
      {"text past the length is cut off", "ab cd", 3, "ab", "ab"},
      {"cut off without a blank", "abcd", 2, "ab", "ab"},
      {"nothing but blanks", " \t ", 3, "", ""},
      {"one blank", " ", 1, "", ""},
      {"length 0 empties the text", " x", 0, "", ""},
      {"a negative length works like 0", "x", -5, "", ""},
  };
  for (const auto& c : kCases) {
    Exact text = Exact::text(c.text);
    EXPECT_STREQ(trim(text.data(), c.length), c.result) << c.why;
    EXPECT_STREQ(text.data(), c.left) << c.why;
  }
  EXPECT_EQ(trim(nullptr, 3), nullptr);
}
