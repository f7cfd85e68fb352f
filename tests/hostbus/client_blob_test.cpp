// Messages: encoded like the recorded vectors, and read without trust.
#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <climits>
#include <memory>

#include "../support/wire_capture.h"
#include "client.h"

namespace {

using test::Message;
using wire::Bytes;

std::string hex_of(const blob_attr* attr) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(attr);
  return wire::to_hex(Bytes(bytes, bytes + blob_raw_len(attr)));
}

// Input in a block of its exact size, so that a read past its end is caught.
struct Input {
  explicit Input(const Bytes& from)
      : size(static_cast<unsigned>(from.size())), bytes(new uint8_t[from.size()]) {
    std::copy(from.begin(), from.end(), bytes.get());
  }
  blob_attr* attr() const { return reinterpret_cast<blob_attr*>(bytes.get()); }

  unsigned size;
  std::unique_ptr<uint8_t[]> bytes;
};

// Adds the attribute again, with the call for its type.
int add_again(blob_buf* b, blob_attr* from) {
  if (!blob_is_extended(from)) {
    blob_put(b, static_cast<int>(blob_id(from)), blob_data(from), static_cast<unsigned>(blob_len(from)));
    return 0;
  }
  const char* name = *blobmsg_name(from) == '\0' ? nullptr : blobmsg_name(from);
  blob_attr* child = nullptr;
  size_t rem = 0;
  void* nested = nullptr;
  switch (blobmsg_type(from)) {
    case BLOBMSG_TYPE_ARRAY:
    case BLOBMSG_TYPE_TABLE:
      nested = blobmsg_open_nested(b, name, blobmsg_type(from) == BLOBMSG_TYPE_ARRAY);
      blobmsg_for_each_attr(child, from, rem) add_again(b, child);
      blobmsg_close_table(b, nested);
      return 0;
    case BLOBMSG_TYPE_STRING:
      return blobmsg_add_string(b, name, blobmsg_get_string(from));
    case BLOBMSG_TYPE_INT8:
      return blobmsg_add_u8(b, name, blobmsg_get_u8(from));
    case BLOBMSG_TYPE_INT32:
      return blobmsg_add_u32(b, name, blobmsg_get_u32(from));
    case BLOBMSG_TYPE_INT64:
      return blobmsg_add_u64(b, name, blobmsg_get_u64(from));
    case BLOBMSG_TYPE_DOUBLE:
      return blobmsg_add_double(b, name, blobmsg_get_double(from));
    default:
      return blobmsg_add_field(b, blobmsg_type(from), name, blobmsg_data(from),
                               static_cast<unsigned>(blobmsg_data_len(from)));
  }
}

TEST(Attributes, AreEncodedLikeTheRecordedVectors) {
  for (const auto& [name, bytes] : wire::load_vectors()) {
    const Input vector(bytes);
    Message message;
    // Leftovers of an earlier message must not show in padding.
    for (int i = 0; i < 100; ++i) blobmsg_add_string(message, "junk", "leftover leftover leftover");
    blob_buf_init(message, static_cast<int>(blob_id(vector.attr())));
    blob_attr* child = nullptr;
    size_t rem = 0;
    blob_for_each_attr(child, vector.attr(), rem) add_again(message, child);
    EXPECT_EQ(hex_of(message.head()), wire::to_hex(bytes)) << name;
  }
}

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
    const Input input(wire::from_hex(c.hex));
    blob_attr* tb[ARRAY_SIZE(kPolicy)];
    std::fill(std::begin(tb), std::end(tb), reinterpret_cast<blob_attr*>(1));
    EXPECT_EQ(blobmsg_parse(kPolicy, ARRAY_SIZE(kPolicy), tb, input.bytes.get(), input.size), c.result)
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
