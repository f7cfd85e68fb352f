#include <gtest/gtest.h>

#include <climits>
#include <random>

#include "exact.h"
#include "zel/util.h"

namespace {

std::string encoded(const std::string& bytes) {
  Exact source(bytes);
  Exact out((bytes.size() + 2) / 3 * 4);
  int count = -1;
  encode_base64(source.data(), static_cast<int>(bytes.size()), out.data(), &count);
  EXPECT_EQ(count, static_cast<int>(out.size()));
  return out.all();
}

// The decoded bytes, or "-1" when refused; checks that a refusal writes nothing.
std::string decoded(const std::string& text, size_t room) {
  Exact source(text);
  Exact out(room);
  int count = -7;
  if (decode_base64(source.data(), static_cast<int>(text.size()), out.data(), &count) == 0) {
    return out.all().substr(0, static_cast<size_t>(count));
  }
  EXPECT_EQ(count, -7) << text;
  EXPECT_TRUE(out.untouched()) << text;
  return "-1";
}

}  // namespace

TEST(Base64, EncodesAndDecodesTheKnownVectors) {
  static const struct {
    const char* bytes;
    const char* text;
  } kCases[] = {{"", ""},
                {"f", "Zg=="},
                {"fo", "Zm8="},
                {"foo", "Zm9v"},
                {"foob", "Zm9vYg=="},
                {"fooba", "Zm9vYmE="},
                {"foobar", "Zm9vYmFy"},
                {"hello", "aGVsbG8="},
                {"\xFB\xFF\xBF", "+/+/"},
                {"\xFF\xEF\xBE\xFF", "/+++/w=="}};
  for (const auto& c : kCases) {
    EXPECT_EQ(encoded(c.bytes), c.text);
    EXPECT_EQ(decoded(c.text, std::string(c.bytes).size()), c.bytes);
  }
}

TEST(Base64, DecodesUpToTheFirstPadAndRefusesTheRest) {
  static const struct {
    const char* why;
    const char* text;
    const char* bytes;
  } kCases[] = {
      {"no padding needed for 1 byte", "Zg", "f"},
      {"no padding needed for 2 bytes", "Zm8", "fo"},
      {"what follows the pad is ignored", "Zm8=!?", "fo"},
      {"a pad first is empty text", "=Zm8", ""},
      {"pads in long text end it", "Zm9vYg==Zm9vYmFyZm9vYmFyZm9vYmFy\n", "foob"},
      {"the bits left over are ignored", "Zh", "f"},
      {"one character over", "Z", "-1"},
      {"five valid characters", "Zm9vY", "-1"},
      {"one over before a pad", "Zm9vY===", "-1"},
      {"a line break", "Zm9v\nZm9v", "-1"},
      {"a blank at the end", "Zm9v ", "-1"},
      {"the other alphabet", "Zm9-", "-1"},
  };
  for (const auto& c : kCases) EXPECT_EQ(decoded(c.text, std::string(c.text).size()), c.bytes) << c.why;
}

TEST(Base64, EveryByteIsRefusedAtEveryPlaceUnlessItIsOfTheAlphabet) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    for (size_t at = 0; at < 24; ++at) {
      std::string text(24, 'A');
      text[at] = c;
      const bool valid = alphabet.find(c) != std::string::npos || (c == '=' && at % 4 != 1);
      EXPECT_EQ(decoded(text, 18) != "-1", valid) << byte << " at " << at;
    }
  }
}

TEST(Base64, RandomBytesComeBackAtEveryLength) {
  std::mt19937 random(1);
  for (size_t size = 0; size < 200; ++size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes) byte = static_cast<char>(random());
    const std::string text = encoded(bytes);
    EXPECT_EQ(decoded(text, size), bytes);
    Exact same(text);
    int count = -1;
    EXPECT_EQ(decode_base64(same.data(), static_cast<int>(text.size()), same.data(), &count), 0);
    EXPECT_EQ(same.all().substr(0, static_cast<size_t>(count)), bytes) << "decoded in place";
  }
}

TEST(Base64, BadLengthsAndNullPointersAreHarmless) {
  int count = -7;
  Exact out(0);
  encode_base64("abc", -1, out.data(), &count);
  EXPECT_EQ(count, 0);
  count = -7;
  encode_base64("abc", INT_MAX, out.data(), &count);
  EXPECT_EQ(count, 0) << "the result's length would not fit";
  count = -7;
  encode_base64(nullptr, 3, out.data(), &count);
  EXPECT_EQ(count, 0);
  encode_base64("abc", 3, nullptr, nullptr);
  count = -7;
  EXPECT_EQ(decode_base64("Zm9v", -4, out.data(), &count), 0);
  EXPECT_EQ(count, 0);
  count = -7;
  EXPECT_EQ(decode_base64(nullptr, 0, nullptr, &count), 0);
  EXPECT_EQ(count, 0);
  EXPECT_EQ(decode_base64(nullptr, 4, out.data(), &count), -1);
  EXPECT_EQ(decode_base64("Zm9v", 4, nullptr, &count), -1);
  EXPECT_EQ(decode_base64("====", 4, nullptr, nullptr), 0);
}
