#include <cstdlib>

#include "support/cases.h"

namespace {

// What `encode` writes into the room that it asked for.
template <class Encode, class Size, class... Type>
std::string encoded(const std::string& bytes, Encode encode, Size size, Type... type) {
  Exact source(bytes);
  Exact out(bytes.size() + 2 * encode(nullptr, source.data(), size, type...));
  EXPECT_EQ(encode(out.data(), source.data(), size, type...),
            reinterpret_cast<uintptr_t>(out.data() + out.size()));
  return out.all();
}

// One byte as the encoders write it.
std::string escape_of(int byte, bool escaped) {
  char text[4];
  snprintf(text, sizeof text, "%%%02X", static_cast<unsigned>(byte) & 0xFF);
  return escaped ? text : std::string(1, static_cast<char>(byte));
}

// The decoded bytes, "|", and what was left unread.
std::string unescaped(const std::string& bytes, unsigned type) {
  Exact source(bytes);
  Exact out(bytes.size());
  char* to = out.data();
  char* from = source.data();
  unescape_uri(&to, &from, bytes.size(), type);
  const std::string result(out.data(), to);
  const std::string rest(from, source.data() + source.size());
  to = from = source.data();
  unescape_uri(&to, &from, bytes.size(), type);
  EXPECT_EQ(std::string(source.data(), to), result) << "in place: " << bytes;
  return result + "|" + rest;
}

std::string form_decoded(const std::string& text) {
  Exact buffer(text + '#');
  const int length = url_decode(buffer.data(), static_cast<int>(text.size()));
  EXPECT_EQ(buffer.data()[length], '\0');
  return std::string(buffer.data(), static_cast<size_t>(length));
}

}  // namespace

TEST(EscapeUri, EveryTypeEscapesItsSetAndNothingElse) {
  const Rows<unsigned, std::string, bool> rows = {
      {"uri", QO_ESCAPE_URI, " #%?", true},
      {"args", QO_ESCAPE_ARGS, " #%&+/:=?\\", true},
      {"html", QO_ESCAPE_HTML, " \"#%'", true},
      {"refresh", QO_ESCAPE_REFRESH, " \"'", true},
      {"memcached", QO_ESCAPE_MEMCACHED, " %", false},
      {"mail", QO_ESCAPE_MAIL_AUTH, " %", false},
      {"an unknown type is like uri", 6, " #%?", true},
  };
  for (const auto& [why, type, characters, above_126] : rows) {
    for (int byte = 0; byte < 256; ++byte) {
      const std::string one(1, static_cast<char>(byte));
      const bool in_set = byte < 32 || (byte > 126 && above_126) || characters.find(one) != std::string::npos;
      EXPECT_EQ(encoded(one, escape_uri, 1, type), escape_of(byte, in_set)) << why << ", " << byte;
    }
  }
  EXPECT_EQ(encoded("a?b c", escape_uri, 5, QO_ESCAPE_URI), "a%3Fb%20c");
  EXPECT_EQ(escape_uri(nullptr, nullptr, 9, QO_ESCAPE_URI), 0U);
}

TEST(UnescapeUri, FollowsTheTypeBits) {
  const Rows<Text, Text, Text, Text> rows = {
      {"a plain ? ends with either bit", "a?b%41", "a?bA|", "a?|b%41", "a?|b%41"},
      {"an escaped ? ends with either bit", "a%3fb%3F", "a?b?|", "a?|b%3F", "a?|b%3F"},
      {"redirect keeps blank and below as written", "%20%0a", " \n|", " \n|", "%20%0a|"},
      {"redirect's first decoded byte is &", "%25%26", "%&|", "%&|", "%25&|"},
      {"redirect's last decoded byte is ~", "%7e%7F%fF", "~\x7F\xFF|", "~\x7F\xFF|", "~%7F%fF|"},
      {"a % before no digit is dropped", "%zx", "zx|", "zx|", "zx|"},
      {"a second % and a ? are such bytes", "%%41%?b", "%41?b|", "%41?b|", "%41?b|"},
      {"% and a digit take any byte after along", "a%4zb%4?%4%41", "ab41|", "ab41|", "ab41|"},
      {"an unfinished escape at the end is dropped", "a%4", "a|", "a|", "a|"},
  };
  for (const auto& [why, text, plain, uri, redirect] : rows) {
    EXPECT_EQ(unescaped(text, 0), plain) << why;
    EXPECT_EQ(unescaped(text, QO_UNESCAPE_URI), uri) << why;
    EXPECT_EQ(unescaped(text, QO_UNESCAPE_REDIRECT), redirect) << why;
    EXPECT_EQ(unescaped(text, QO_UNESCAPE_URI | QO_UNESCAPE_REDIRECT), uri) << why;
  }
  EXPECT_EQ(unescaped("a%00b", 0), std::string("a\0b|", 4));
  unescape_uri(nullptr, nullptr, 3, 0);
}

TEST(UrlEncode, CopiesLettersDigitsAndThreeSigns) {
  const std::string kept = "-_.0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ";
  for (int byte = 0; byte < 256; ++byte) {
    const std::string one(1, static_cast<char>(byte));
    const std::string form = encoded(one, url_encode, 1);
    EXPECT_EQ(form, byte == ' ' ? "+" : escape_of(byte, kept.find(one) == std::string::npos)) << byte;
    EXPECT_EQ(form_decoded(form), one) << byte;
  }
  EXPECT_EQ(url_encode(nullptr, "&&&", -1), 0U);
  EXPECT_EQ(url_encode(nullptr, nullptr, 5), 0U);
}

TEST(UrlDecode, DecodesInPlaceWithinTheLength) {
  const Rows<Text, Text> rows = {
      {"digits of either case", "a+b%c3%A9", "a b\xC3\xA9"},
      {"one digit left in the text", "ab%4", "ab%4"},
      {"a first that is no digit", "%g1x", "%g1x"},
      {"a second that is no digit", "%1gx", "%1gx"},
      {"a % that is copied may be followed by an escape", "%%41", "%A"},
      {"decoded text is not decoded again", "%2541%2B", "%41+"},
  };
  for (const auto& [why, text, result] : rows) EXPECT_EQ(form_decoded(text), result) << why;

  char longer[] = "a%41";
  EXPECT_EQ(url_decode(longer, 3), 3) << "the length ends the text within an escape";
  EXPECT_STREQ(longer, "a%4");
  EXPECT_EQ(url_decode(longer, -1), 0);
  EXPECT_EQ(url_decode(nullptr, 3), 0);
}

TEST(MallocEncodeString, GivesTextOfItsOwn) {
  char* const text = qo_malloc_encode_string("a b&d\xFF%");
  EXPECT_STREQ(text, "a+b%26d%FF%25");
  std::free(text);
  EXPECT_EQ(qo_malloc_encode_string(nullptr), nullptr);
}
