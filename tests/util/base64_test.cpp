#include <random>

#include "support/cases.h"

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
  EXPECT_TRUE(count == -7 && out.untouched()) << text;
  return "-1";
}

}  // namespace

TEST(Base64, DecodesUpToTheFirstPadAndRefusesTheRest) {
  const Rows<Text, Text> rows = {
      {"no padding needed for 1 byte", "Zg", "f"},
      {"no padding needed for 2 bytes", "Zm8", "fo"},
      {"a pad first is empty text", "=Zm8", ""},
      {"pads in long text end it", "Zm9vYg==Zm9vYmFyZm9vYmFyZm9vYmFy\n", "foob"},
      {"the bits left over are ignored", "Zh", "f"},
      {"one character over", "Zm9vY", "-1"},
      {"one over before a pad", "Zm9vY===", "-1"},
  };
  for (const auto& [why, text, bytes] : rows) EXPECT_EQ(decoded(text, 24), bytes) << why;
}

TEST(Base64, EveryByteIsRefusedAtEveryPlaceUnlessItIsOfTheAlphabet) {
  const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  for (size_t place = 0; place < 256 * 24; ++place) {
    const size_t at = place % 24;
    std::string text(24, 'A');
    text[at] = static_cast<char>(place / 24);
    const size_t value = alphabet.find(text[at]);
    const bool valid = value != std::string::npos || (text[at] == '=' && at % 4 != 1);
    const std::string bytes = decoded(text, 18);
    EXPECT_EQ(bytes != "-1", valid) << place / 24 << " at " << at;
    if (at == 3 && value < 64) {
      EXPECT_EQ(static_cast<size_t>(bytes[2]), value);
    }
  }
}

TEST(Base64, RandomBytesComeBackAtEveryLengthAlsoInPlace) {
  EXPECT_EQ(encoded("hello"), "aGVsbG8=");
  EXPECT_EQ(encoded("\xFB"), "+w==");
  std::mt19937 random(1);
  for (std::string bytes; bytes.size() < 200; bytes += static_cast<char>(random())) {
    const std::string text = encoded(bytes);
    EXPECT_EQ(decoded(text, bytes.size()), bytes);
    Exact same(text);
    EXPECT_EQ(decode_base64(same.data(), static_cast<int>(text.size()), same.data(), nullptr), 0);
    EXPECT_EQ(same.all().substr(0, bytes.size()), bytes) << "decoded in place";
  }
}

TEST(Base64, BadLengthsAndNullPointersAreHarmless) {
  Exact out(0);
  int count = -7;
  encode_base64("abc", -1, out.data(), nullptr);
  encode_base64("abc", INT_MAX, out.data(), &count);
  EXPECT_EQ(count, 0) << "the length of the result would not fit";
  encode_base64(nullptr, 3, out.data(), nullptr);
  encode_base64("abc", 3, nullptr, nullptr);
  EXPECT_EQ(decode_base64("Zm9v", -4, out.data(), &count), 0);
  EXPECT_EQ(decode_base64(nullptr, 4, out.data(), &count), -1);
  EXPECT_EQ(decode_base64("Zm9v", 4, nullptr, &count), -1);
}
