// Messages: read without trust, and built within the limit.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <climits>

#include "../support/exact.h"
#include "../support/wire_capture.h"
#include "client.h"

namespace {

using test::Message;

constexpr blobmsg_policy kPolicy[] = {{.name = "a", .type = BLOBMSG_TYPE_INT32},
                                      {.name = "a", .type = BLOBMSG_TYPE_UNSPEC},
                                      {.name = "s", .type = BLOBMSG_TYPE_STRING},
                                      {.name = "c", .type = BLOBMSG_CAST_INT64},
                                      {.name = nullptr, .type = BLOBMSG_TYPE_INT32}};

// Fields: name "a" INT32 1 and 2, "s"="x".
const std::string kA1 = "8500000c0001610000000001";
const std::string kA2 = "8500000c0001610000000002";
const std::string kS = "8300000a0001730078000000";

TEST(Messages, AreParsedByThePolicy) {
  const struct {
    const char* why;
    std::string hex;
    int result;
    const char* found;    // the entries that are set, in the order of kPolicy
    uint32_t number = 0;  // of entry 0
  } kCases[] = {
      {"nothing to parse", "", -22, "....."},
      {"two entries of one name get the same field, the first match is kept", kA1 + kA2, 0, "11...", 1},
      {"a field of another type is absent and blocks nothing", "8300000a0001610078000000" + kA2, 0, "11...",
       2},
      {"a cast takes any integer", "870000090001630005000000", 0, "...1."},
      {"unknown names are ignored", "8300000a0001710078000000" + kS, 0, "..1.."},
      {"a child without a name is skipped", "0500000800000001" + kS, 0, "..1.."},
      {"a tail under four bytes ends silently", kS + "850000", 0, "..1.."},
      {"a truncated field ends silently", kS + kA1.substr(0, 20), 0, "..1.."},
      {"a length under the header word is malformed", kS + "85000003" + kA1, -1, "..1.."},
      {"a name longer than the field", kS + "8500000c0005610000000001" + kA1, -1, "..1.."},
      {"a name without its NUL", kS + "8500000c0001616100000001" + kA1, -1, "..1.."},
      {"no room for the name header", kS + "8500000500000000" + kA1, -1, "..1.."},
      {"a type that does not exist", kS + "8900000c0001610000000001" + kA1, -1, "..1.."},
      {"a wrong integer size, asked for by nobody", kS + "8500000a0001710000000000" + kA1, -1, "..1.."},
      {"an empty string", kS + "8300000800017100" + kA1, -1, "..1.."},
      {"a string without its NUL", kS + "830000090001710078000000" + kA1, -1, "..1.."},
      {"a short double", kS + "8800000c0001710000000000" + kA1, -1, "..1.."},
      {"what an array contains is not looked at", "8100000b00017800ffffff00" + kA1, 0, "11...", 1},
  };
  for (const auto& c : kCases) {
    const wire::Bytes bytes = wire::from_hex(c.hex);
    Exact input(std::string(bytes.begin(), bytes.end()));
    blob_attr* tb[ARRAY_SIZE(kPolicy)];
    std::fill(std::begin(tb), std::end(tb), reinterpret_cast<blob_attr*>(1));
    EXPECT_EQ(
        blobmsg_parse(kPolicy, ARRAY_SIZE(kPolicy), tb, input.data(), static_cast<unsigned>(input.size())),
        c.result)
        << c.why;
    std::string found;
    for (const blob_attr* attr : tb) found += attr == nullptr ? '.' : '1';
    EXPECT_EQ(found, c.found) << c.why;
    EXPECT_EQ(tb[0] == nullptr ? 0 : blobmsg_get_u32(tb[0]), c.number) << c.why;
  }
}

TEST(Buffer, RefusesMoreThanALengthCanSayAndStaysAsItWas) {
  Message message;
  ASSERT_EQ(blobmsg_add_u32(message, "first", 1), 0);
  ASSERT_NE(blob_put(message, 1, nullptr, 16000000), nullptr);
  const size_t before = blob_raw_len(message.head());
  EXPECT_EQ(blob_put(message, 1, nullptr, 1000000), nullptr);
  EXPECT_EQ(blobmsg_add_field(message, BLOBMSG_TYPE_UNSPEC, "x", nullptr, UINT_MAX), -1);
  EXPECT_EQ(blobmsg_add_string(message, std::string(70000, 'n').c_str(), "name too long"), -1);
  EXPECT_EQ(blob_raw_len(message.head()), before);
}

}  // namespace
