#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <cstdlib>
#include <random>

#include "exact.h"
#include "zel/util.h"

namespace {

std::string all_bytes() {
  std::string bytes(256, '\0');
  for (int byte = 0; byte < 256; ++byte) bytes[static_cast<size_t>(byte)] = static_cast<char>(byte);
  return bytes;
}

std::string random_bytes(std::mt19937& random, size_t size) {
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random());
  return bytes;
}

std::string escaped(const std::string& bytes, unsigned type) {
  Exact source(bytes);
  Exact out(bytes.size() + 2 * escape_uri(nullptr, source.data(), bytes.size(), type));
  const uintptr_t end = escape_uri(out.data(), source.data(), bytes.size(), type);
  EXPECT_EQ(end, reinterpret_cast<uintptr_t>(out.data() + out.size()));
  return out.all();
}

// The decoded bytes, "|", and what was left unread.
std::string unescaped(const std::string& bytes, unsigned type) {
  Exact source(bytes);
  Exact out(bytes.size());
  char* to = out.data();
  char* from = source.data();
  unescape_uri(&to, &from, bytes.size(), type);
  const std::string result(out.data(), to);

  Exact same(bytes);
  char* over = same.data();
  char* read = same.data();
  unescape_uri(&over, &read, bytes.size(), type);
  EXPECT_EQ(std::string(same.data(), over), result) << "in place: " << bytes;
  return result + "|" + std::string(from, source.data() + source.size());
}

std::string form(const std::string& bytes) {
  Exact source(bytes);
  const int length = static_cast<int>(bytes.size());
  Exact out(bytes.size() + 2 * url_encode(nullptr, source.data(), length));
  EXPECT_EQ(url_encode(out.data(), source.data(), length),
            reinterpret_cast<uintptr_t>(out.data() + out.size()));
  return out.all();
}

std::string form_decoded(const std::string& text) {
  Exact buffer(text + '#');
  const int length = url_decode(buffer.data(), static_cast<int>(text.size()));
  EXPECT_EQ(buffer.data()[length], '\0');
  return std::string(buffer.data(), static_cast<size_t>(length));
}

}  // namespace

TEST(EscapeUri, EveryTypeEscapesItsSetAndNothingElse) {
  static const struct {
    unsigned type;
    const char* characters;
    bool above_126;
  } kSets[] = {
      {QO_ESCAPE_URI, " #%?", true},
      {QO_ESCAPE_ARGS, " #%&+/:=?\\", true},
      {QO_ESCAPE_HTML, " \"#%'", true},
      {QO_ESCAPE_REFRESH, " \"'", true},
      {QO_ESCAPE_MEMCACHED, " %", false},
      {QO_ESCAPE_MAIL_AUTH, " %", false},
      {6, " #%?", true},
      {UINT_MAX, " #%?", true},
  };
  for (const auto& set : kSets) {
    for (int byte = 0; byte < 256; ++byte) {
      const char c = static_cast<char>(byte);
      const bool in_set = byte < 32 || (byte > 126 && set.above_126) ||
                          std::string(set.characters).find(c) != std::string::npos;
      char expected[4] = {c};
      if (in_set) snprintf(expected, sizeof expected, "%%%02X", static_cast<unsigned>(byte));
      EXPECT_EQ(escaped(std::string(1, c), set.type), std::string(expected, in_set ? 3 : 1))
          << "type " << set.type << ", byte " << byte;
    }
  }
}

TEST(EscapeUri, CountsWithoutADestination) {
  EXPECT_EQ(escape_uri(nullptr, "a?b c", 5, QO_ESCAPE_URI), 2U);
  EXPECT_EQ(escape_uri(nullptr, all_bytes().data(), 256, QO_ESCAPE_URI), 32U + 4 + 129);
  EXPECT_EQ(escape_uri(nullptr, nullptr, 9, QO_ESCAPE_URI), 0U);
  EXPECT_EQ(escaped("", QO_ESCAPE_URI), "");
  EXPECT_EQ(escaped("a?b", QO_ESCAPE_URI), "a%3Fb");
  EXPECT_EQ(escaped("a?b", QO_ESCAPE_MEMCACHED), "a?b");
}

TEST(UnescapeUri, FollowsTheTypeBits) {
  static const struct {
    const char* why;
    const char* in;
    const char* plain;
    const char* uri;
    const char* redirect;
  } kCases[] = {
      {"both cases of digits", "%4a%4A%6f", "JJo|", "JJo|", "JJo|"},
      {"a plain ? ends with either bit", "a?b%41", "a?bA|", "a?|b%41", "a?|b%41"},
      {"an escaped ? ends with either bit", "a%3fb%3F", "a?b?|", "a?|b%3F", "a?|b%3F"},
      {"redirect keeps blank and below as written", "%20%0a", " \n|", " \n|", "%20%0a|"},
      {"redirect's first decoded byte is &", "%25%26", "%&|", "%&|", "%25&|"},
      {"redirect's last decoded byte is ~", "%7e%7F%fF", "~\x7F\xFF|", "~\x7F\xFF|", "~%7F%fF|"},
      {"a % before no digit is dropped", "%zx", "zx|", "zx|", "zx|"},
      {"a second % is such a byte", "%%41", "%41|", "%41|", "%41|"},
      {"a ? after a % is copied and does not end", "%?b", "?b|", "?b|", "?b|"},
      {"% and a digit take the byte after along", "a%4zb", "ab|", "ab|", "ab|"},
      {"even a ? or a %", "%4?%4%41", "41|", "41|", "41|"},
      {"an unfinished escape at the end is dropped", "a%4", "a|", "a|", "a|"},
      {"a % at the end is dropped", "a%", "a|", "a|", "a|"},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(unescaped(c.in, 0), c.plain) << c.why;
    EXPECT_EQ(unescaped(c.in, QO_UNESCAPE_URI), c.uri) << c.why;
    EXPECT_EQ(unescaped(c.in, QO_UNESCAPE_REDIRECT), c.redirect) << c.why;
    EXPECT_EQ(unescaped(c.in, QO_UNESCAPE_URI | QO_UNESCAPE_REDIRECT), c.uri) << c.why;
  }
  EXPECT_EQ(unescaped(std::string("a%00b", 5), 0), std::string("a\0b|", 4));
}

TEST(UnescapeUri, UndoesEveryEscapeThatCoversThePercentSign) {
  std::mt19937 random(2);
  for (const unsigned type : {QO_ESCAPE_URI, QO_ESCAPE_ARGS, QO_ESCAPE_HTML, QO_ESCAPE_MEMCACHED}) {
    const std::string bytes = all_bytes() + random_bytes(random, 500);
    EXPECT_EQ(unescaped(escaped(bytes, type), 0), bytes + "|");
  }
}

TEST(UnescapeUri, NullPointersAreHarmless) {
  char text[] = "%41";
  char* at = text;
  char* none = nullptr;
  unescape_uri(nullptr, &at, 3, 0);
  unescape_uri(&at, nullptr, 3, 0);
  unescape_uri(&none, &at, 3, 0);
  unescape_uri(&at, &none, 3, 0);
  EXPECT_EQ(at, text);
  EXPECT_STREQ(text, "%41");
}

TEST(UrlEncode, CopiesLettersDigitsAndThreeSigns) {
  setlocale(LC_ALL, "");
  const std::string kept = "-_.0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    char expected[4];
    snprintf(expected, sizeof expected, "%%%02X", static_cast<unsigned>(byte));
    const bool copied = kept.find(c) != std::string::npos;
    EXPECT_EQ(form(std::string(1, c)), copied ? std::string(1, c) : c == ' ' ? "+" : expected) << byte;
  }
  EXPECT_EQ(form("a b&d"), "a+b%26d");
  EXPECT_EQ(url_encode(nullptr, "a b&d", 5), 1U) << "a blank stays one character";
  Exact nothing(0);
  EXPECT_EQ(url_encode(nothing.data(), "abc", -1), reinterpret_cast<uintptr_t>(nothing.data()));
  EXPECT_EQ(url_encode(nullptr, "&", INT_MIN), 0U);
  EXPECT_EQ(url_encode(nullptr, nullptr, 5), 0U);
}

TEST(UrlDecode, DecodesInPlaceWithinTheLength) {
  static const struct {
    const char* why;
    const char* text;
    const char* result;
  } kCases[] = {
      {"blank and escape", "a+b%26d", "a b&d"},
      {"digits of either case", "%c3%A9", "\xC3\xA9"},
      {"one digit left in the text", "ab%4", "ab%4"},
      {"nothing left", "ab%", "ab%"},
      {"exactly two left", "%41", "A"},
      {"a first that is no digit", "%g1x", "%g1x"},
      {"a second that is no digit", "%1gx", "%1gx"},
      {"a % that is copied may be followed by an escape", "%%41", "%A"},
      {"decoded text is not decoded again", "%2541%2B", "%41+"},
      {"empty", "", ""},
  };
  for (const auto& c : kCases) EXPECT_EQ(form_decoded(c.text), c.result) << c.why;
  EXPECT_EQ(form_decoded("a%00b"), std::string("a\0b", 3));

  char longer[] = "a%41";
  EXPECT_EQ(url_decode(longer, 3), 3) << "the length ends the text within an escape";
  EXPECT_STREQ(longer, "a%4");
  EXPECT_EQ(url_decode(longer, -1), 0);
  EXPECT_STREQ(longer, "");
  EXPECT_EQ(url_decode(nullptr, 3), 0);
}

TEST(UrlDecode, UndoesUrlEncode) {
  std::mt19937 random(3);
  for (size_t size = 0; size < 300; ++size) {
    const std::string bytes = random_bytes(random, size);
    EXPECT_EQ(form_decoded(form(bytes)), bytes);
  }
}

TEST(MallocEncodeString, GivesTextOfItsOwn) {
  for (const char* text : {"", "plain", "a b&d", "\xFF\xFE%"}) {
    char* const encoded = qo_malloc_encode_string(text);
    ASSERT_NE(encoded, nullptr);
    EXPECT_EQ(encoded, form(text));
    std::free(encoded);
  }
  EXPECT_EQ(qo_malloc_encode_string(nullptr), nullptr);
}
