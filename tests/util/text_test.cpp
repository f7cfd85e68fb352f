#include <cjson/cJSON.h>

#include <cstdlib>
#include <memory>

#include "support/cases.h"

TEST(Case, OnlyTheAsciiLettersChange) {
  for (int c = -300; c < 600; ++c) {
    EXPECT_EQ(qo_tolower(c), c >= 'A' && c <= 'Z' ? c + 32 : c);
    EXPECT_EQ(qo_oupper(c), c >= 'a' && c <= 'z' ? c - 32 : c);
  }
}

TEST(Charncpy, CopiesExactlyNBytesAndReturnsOneMore) {
  Exact out(3);
  EXPECT_EQ(qo_charncpy(out.data(), Exact(std::string("a\0b", 3)).data(), 3), 4U);
  EXPECT_EQ(qo_charncpy(out.data(), "x", 0), 1U);
  EXPECT_EQ(qo_charncpy(out.data() + 2, nullptr, 0), 0U) << "a null source writes its NUL whatever n is";
  EXPECT_EQ(out.all(), std::string("a\0\0", 3));
  EXPECT_EQ(qo_charncpy(nullptr, "x", 1), 0U);
}

TEST(Strncpy, CutsTerminatesAndReturnsTheWholeLength) {
  const Rows<Text, size_t, size_t, Text> rows = {
      {"fits exactly", "hello", 6, 5, "hello"},
      {"one too small", "hello", 5, 5, "hell"},
      {"null text", nullptr, 1, 0, ""},
  };
  for (const auto& [why, source, size, result, copy] : rows) {
    Exact out(size);
    EXPECT_EQ(qo_strncpy(out.data(), source, size), result) << why;
    EXPECT_STREQ(out.data(), copy) << why;
  }
  EXPECT_EQ(qo_strncpy(Exact(0).data(), "hello", 0), 5U);
  EXPECT_EQ(qo_strncpy(nullptr, "hello", 9), 5U);
}

TEST(Compare, GivesTheDifferenceOfTheFirstDifferentBytes) {
  const Rows<Text, Text, size_t, int, int> rows = {
      {"a is shorter", "aB", "Abc", 3, -'c', -'c'},
      {"letters are lowered before subtracting", "A", "_", 1, 'a' - '_', 'a' - '_'},
      {"bytes above 127 are unsigned", "\xFF", "a", 1, 0xFF - 'a', 0xFF - 'a'},
      {"differs after the limit", "abX", "abY", 2, 0, -1},
      {"the first byte counts even with n 0", "a", "b", 0, -1, -1},
      {"a null first text is 1", nullptr, "a", 1, 1, 1},
      {"a null second text is 1", "a", nullptr, 0, 1, 1},
      {"the end stops before the limit", "ab\0x", "ab\0y", 99, 0, 0},
  };
  for (const auto& [why, a, b, n, limited, whole] : rows) {
    EXPECT_EQ(qo_strncasecmp(a, b, n), limited) << why;
    EXPECT_EQ(qo_strcasecmp(a, b), whole) << why;
  }
  EXPECT_EQ(qo_strncasecmp(Exact("ab").data(), Exact("AB").data(), 2), 0) << "reads no byte past n";
}

TEST(Search, IgnoresCase) {
  const char* const text = "say Hello hello";
  EXPECT_EQ(qo_stristr(text, "hELLO"), text + 4);
  EXPECT_EQ(qo_stristr(text, "hello!"), nullptr);
  EXPECT_STREQ(qo_stristr("", ""), "");
  EXPECT_STREQ(qo_stristr("aab", "AB"), "ab");
  EXPECT_EQ(qo_stristr(nullptr, "x"), nullptr);

  const char* rest = nullptr;
  EXPECT_EQ(qo_stristart("say", "say hello", &rest), 0);
  EXPECT_EQ(qo_stristart(nullptr, "", &rest), 0);
  EXPECT_EQ(qo_stristart(text, nullptr, &rest), 0);
  EXPECT_EQ(rest, nullptr);
  EXPECT_EQ(qo_stristart(text, "SAY", &rest), 1);
  EXPECT_EQ(rest, text + 3);

  EXPECT_EQ(string_is_url("HTTP://"), 1);
  for (const char* other : {"https://a", "http:/", " http://a"}) EXPECT_EQ(string_is_url(other), 0) << other;
}

TEST(Freep, FreesAndForgets) {
  char* text = strdup("text");
  qo_freep(&text);
  EXPECT_EQ(text, nullptr);
  qo_freep(nullptr);
}

TEST(CjsonItem, IsOfTheTypeOrNone) {
  const char* const text = R"({"0": false, "1": true, "2": null, "3": 1, "4": "", "5": [], "6": {}})";
  const std::unique_ptr<cJSON, decltype(&cJSON_Delete)> object(cJSON_Parse(text), cJSON_Delete);
  int type = 0;
  for (const cJSON* item = object->child; item != nullptr; item = item->next, ++type) {
    EXPECT_EQ(zel_get_cjson_item(object.get(), item->string, type), item) << type;
    EXPECT_EQ(zel_get_cjson_item(object.get(), item->string, (type + 1) % 7), nullptr) << type;
  }
  EXPECT_EQ(zel_get_cjson_item(object.get(), "7", 6), nullptr);
}

TEST(Trim, RemovesBlanksBeforeTheLengthAndOneAtTheFront) {
  const Rows<Text, int, Text, Text> rows = {
      {"all four characters at the end", "x \t\r\n", 5, "x", "x"},
      {"only one at the front", "  x", 3, " x", "  x"},
      {"other control characters stay", "\vx\f", 3, "\vx\f", "\vx\f"},
      {"text past the length is cut off", "ab cd", 3, "ab", "ab"},
      {"nothing but blanks", " \t ", 3, "", ""},
      {"a negative length empties the text", "x", -5, "", ""},
  };
  for (const auto& [why, text, length, result, left] : rows) {
    Exact buffer(std::string(text) + '\0');
    EXPECT_STREQ(trim(buffer.data(), length), result) << why;
    EXPECT_STREQ(buffer.data(), left) << why << ": what the buffer holds then";
  }
  EXPECT_EQ(trim(nullptr, 3), nullptr);
}
