#include <gtest/gtest.h>
#include <libubox/blobmsg.h>

#include <climits>
#include <memory>
#include <random>

#include "fake_broker.h"

namespace {

using fake::Message;
using wire::Bytes;
using wire::from_hex;
using wire::to_hex;

std::string hex_of(const blob_attr* attr) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(attr);
  return to_hex(Bytes(bytes, bytes + blob_raw_len(attr)));
}

// Input in a block of its exact size, so that a read past its end is caught.
class Input {
 public:
  explicit Input(const Bytes& bytes) : size_(bytes.size()), bytes_(new uint8_t[bytes.size()]) {
    std::copy(bytes.begin(), bytes.end(), bytes_.get());
  }
  explicit Input(const std::string& hex) : Input(from_hex(hex)) {}

  unsigned size() const { return static_cast<unsigned>(size_); }
  uint8_t* data() const { return bytes_.get(); }
  blob_attr* attr() const { return reinterpret_cast<blob_attr*>(bytes_.get()); }

 private:
  size_t size_;
  std::unique_ptr<uint8_t[]> bytes_;
};

// --- encoding and decoding the recorded vectors

void add_nested(blob_buf* b) {
  void* table = blobmsg_open_table(b, "o");
  void* list = blobmsg_open_array(b, "l");
  void* element = blobmsg_open_table(b, nullptr);
  blobmsg_add_u8(b, "q", 1);
  blobmsg_close_table(b, element);
  blobmsg_close_array(b, list);
  blobmsg_add_u32(b, "after", 7);
  blobmsg_close_table(b, table);
  blobmsg_add_string(b, "last", "end");
}

void add_table(blob_buf* b) {
  void* table = blobmsg_open_table(b, "t");
  blobmsg_add_u32(b, "a", 1);
  blobmsg_add_string(b, "b", "x");
  blobmsg_close_table(b, table);
}

void add_array(blob_buf* b) {
  void* list = blobmsg_open_array(b, "l");
  blobmsg_add_u32(b, nullptr, 1);
  blobmsg_add_u32(b, nullptr, 2);
  blobmsg_add_string(b, nullptr, "z");
  blobmsg_close_array(b, list);
}

void add_event(blob_buf* b) {
  blobmsg_add_u32(b, "event", 1);
  blobmsg_add_u32(b, "subevent", 257);
  blobmsg_add_string(b, "data", "up");
}

void add_plain(blob_buf* b) {
  blob_put_u32(b, UBUS_ATTR_OBJID, 0x11223344);
  blob_put_string(b, UBUS_ATTR_METHOD, "m");
  blob_put_u8(b, UBUS_ATTR_NO_REPLY, 1);
  blob_put(b, UBUS_ATTR_DATA, nullptr, 0);
}

const std::map<std::string, void (*)(blob_buf*)> kVectors = {
    {"empty-id0", [](blob_buf*) {}},
    {"empty-id2", [](blob_buf* b) { blob_buf_init(b, 2); }},
    {"string", [](blob_buf* b) { blobmsg_add_string(b, "msg", "hello"); }},
    {"string-empty", [](blob_buf* b) { blobmsg_printf(b, "e", "%s", ""); }},
    {"string-len4-no-padding", [](blob_buf* b) { blobmsg_printf(b, "abcd", "a%s", "bc"); }},
    {"string-null-name", [](blob_buf* b) { blobmsg_add_string(b, nullptr, "x"); }},
    {"u8-name-length-1", [](blob_buf* b) { blobmsg_add_u8(b, "a", 1); }},
    {"u8-name-length-2", [](blob_buf* b) { blobmsg_add_u8(b, "ab", 1); }},
    {"u8-name-length-3", [](blob_buf* b) { blobmsg_add_u8(b, "abc", 1); }},
    {"u8-name-length-4", [](blob_buf* b) { blobmsg_add_u8(b, "abcd", 1); }},
    {"u8-name-length-5", [](blob_buf* b) { blobmsg_add_u8(b, "abcde", 1); }},
    {"u8-name-length-6", [](blob_buf* b) { blobmsg_add_u8(b, "abcdef", 1); }},
    {"u8-fe", [](blob_buf* b) { blobmsg_add_u8(b, "v", 0xfe); }},
    {"u16-1234", [](blob_buf* b) { blobmsg_add_u16(b, "v", 0x1234); }},
    {"u32-257", [](blob_buf* b) { blobmsg_add_u32(b, "v", 257); }},
    {"u32-minus1", [](blob_buf* b) { blobmsg_add_u32(b, "v", UINT32_MAX); }},
    {"u64", [](blob_buf* b) { blobmsg_add_u64(b, "v", 0x0102030405060708); }},
    {"double-1.5", [](blob_buf* b) { blobmsg_add_double(b, "v", 1.5); }},
    {"unspec-3-bytes", [](blob_buf* b) { blobmsg_add_field(b, BLOBMSG_TYPE_UNSPEC, "v", "\1\2\3", 3); }},
    {"table", add_table},
    {"table-empty", [](blob_buf* b) { blobmsg_close_table(b, blobmsg_open_table(b, "t")); }},
    {"array", add_array},
    {"nested", add_nested},
    {"event-payload", add_event},
    {"plain-attributes", add_plain},
};

TEST(Attributes, AreEncodedLikeTheRecordedVectors) {
  const auto vectors = wire::load_vectors();
  ASSERT_EQ(vectors.size(), kVectors.size());
  for (const auto& [name, bytes] : vectors) {
    Message message;
    // Leftovers of an earlier message must not show in padding.
    for (int i = 0; i < 100; ++i) blobmsg_add_string(message, "junk", "leftover leftover leftover");
    blob_buf_init(message, 0);
    kVectors.at(name)(message);
    EXPECT_EQ(hex_of(message.head()), to_hex(bytes)) << name;
  }
}

TEST(Attributes, AreDecodedFromTheRecordedVectors) {
  const auto vectors = wire::load_vectors();
  const auto field = [](const char* name, const Input& input, int type) {
    blob_attr* found = blob_first_child(input.attr());
    EXPECT_EQ(blobmsg_type(found), type) << name;
    return found;
  };
  Input text(vectors.at("string")), u8(vectors.at("u8-fe")), u16(vectors.at("u16-1234")),
      u64(vectors.at("u64"));
  Input u32(vectors.at("u32-minus1")), number(vectors.at("double-1.5")), any(vectors.at("unspec-3-bytes"));
  EXPECT_STREQ(blobmsg_get_string(field("text", text, BLOBMSG_TYPE_STRING)), "hello");
  EXPECT_STREQ(blobmsg_name(blob_first_child(text.attr())), "msg");
  EXPECT_EQ(blobmsg_get_u8(field("u8", u8, BLOBMSG_TYPE_INT8)), 0xfe);
  EXPECT_TRUE(blobmsg_get_bool(blob_first_child(u8.attr())));
  EXPECT_EQ(blobmsg_get_u16(field("u16", u16, BLOBMSG_TYPE_INT16)), 0x1234);
  EXPECT_EQ(blobmsg_get_u32(field("u32", u32, BLOBMSG_TYPE_INT32)), UINT32_MAX);
  EXPECT_EQ(blobmsg_get_u64(field("u64", u64, BLOBMSG_TYPE_INT64)), 0x0102030405060708U);
  EXPECT_EQ(blobmsg_get_double(field("double", number, BLOBMSG_TYPE_DOUBLE)), 1.5);
  EXPECT_EQ(blobmsg_data_len(field("any", any, BLOBMSG_TYPE_UNSPEC)), 3U);
  EXPECT_EQ(blobmsg_data(nullptr), nullptr);
  EXPECT_EQ(blobmsg_data_len(nullptr), 0U);
  EXPECT_EQ(blobmsg_get_string(nullptr), nullptr);
}

// --- parsing rules

constexpr blobmsg_policy kPolicy[] = {{.name = "a", .type = BLOBMSG_TYPE_INT32},
                                      {.name = "a", .type = BLOBMSG_TYPE_UNSPEC},
                                      {.name = "s", .type = BLOBMSG_TYPE_STRING},
                                      {.name = "c", .type = BLOBMSG_CAST_INT64},
                                      {.name = nullptr, .type = BLOBMSG_TYPE_INT32}};

// Fields: name "a" INT32 1 and 2, "a" as string, "s"="x", "c" as INT8 and INT64.
const std::string kA1 = "8500000c0001610000000001";
const std::string kA2 = "8500000c0001610000000002";
const std::string kAText = "8300000a0001610078000000";
const std::string kS = "8300000a0001730078000000";
const std::string kC8 = "870000090001630005000000";
const std::string kCDouble =
    "8800001000016300"
    "0000000000000000";

TEST(Messages, AreParsedByThePolicy) {
  const struct {
    const char* why;
    std::string hex;
    int result;
    const char* found;  // the entries that are set, in the order of kPolicy
    long number = -1;   // of entry 0
  } kCases[] = {
      {"nothing to parse", "", -22, "....."},
      {"two entries of one name get the same field", kA1, 0, "11...", 1},
      {"the first match is kept", kA1 + kA2, 0, "11...", 1},
      {"a field of another type is absent and blocks nothing", kAText + kA2, 0, "11...", 2},
      {"a cast takes any integer", kC8, 0, "...1."},
      {"a cast takes no double", kCDouble, 0, "....."},
      {"unknown names are ignored", "8300000a0001710078000000" + kS, 0, "..1.."},
      {"names differ in case", "8300000a0001530078000000", 0, "....."},
      {"a child without a name is skipped", "0500000800000001" + kS, 0, "..1.."},
      {"a tail under four bytes ends silently", kS + "850000", 0, "..1.."},
      {"a truncated field ends silently", kS + kA1.substr(0, 20), 0, "..1.."},
      {"a length of zero ends silently", kS + "85000000" + kA1, 0, "..1.."},
      {"a length under the header word is malformed", kS + "85000003" + kA1, -1, "..1.."},
      {"a name longer than the field", kS + "8500000c0005610000000001" + kA1, -1, "..1.."},
      {"a name without its NUL", kS + "8500000c0001616100000001" + kA1, -1, "..1.."},
      {"no room for the name header", kS + "8500000500000000" + kA1, -1, "..1.."},
      {"a type that does not exist", kS + "8900000c0001610000000001" + kA1, -1, "..1.."},
      {"an integer of the wrong size, asked for by nobody", kS + "8500000a0001710000000000" + kA1, -1,
       "..1.."},
      {"an empty string", kS + "8300000800017100" + kA1, -1, "..1.."},
      {"a string without its NUL", kS + "830000090001710078000000" + kA1, -1, "..1.."},
      {"a short double", kS + "8800000c0001710000000000" + kA1, -1, "..1.."},
      {"a NUL inside a string is fine", "8300000c0001730078007800" + kA1, 0, "111..", 1},
      {"what an array contains is not looked at", "8100000b00017800ffffff00" + kA1, 0, "11...", 1},
  };
  for (const auto& c : kCases) {
    const Input input(c.hex);
    blob_attr* tb[ARRAY_SIZE(kPolicy)];
    std::fill(std::begin(tb), std::end(tb), reinterpret_cast<blob_attr*>(1));
    EXPECT_EQ(blobmsg_parse(kPolicy, ARRAY_SIZE(kPolicy), tb, input.data(), input.size()), c.result) << c.why;
    std::string found;
    for (const blob_attr* attr : tb) found += attr == nullptr ? '.' : '1';
    EXPECT_EQ(found, c.found) << c.why;
    EXPECT_TRUE(c.number < 0 ||
                (tb[0] != nullptr && blobmsg_get_u32(tb[0]) == static_cast<uint32_t>(c.number)))
        << c.why;
  }
  blob_attr* tb[ARRAY_SIZE(kPolicy)];
  EXPECT_EQ(blobmsg_parse(kPolicy, ARRAY_SIZE(kPolicy), tb, nullptr, 8), -EINVAL);
}

TEST(Messages, MatchNoPolicyNameOver255Bytes) {
  for (const size_t length : {255U, 256U}) {
    const std::string name(length, 'n');
    Message message;
    blobmsg_add_u32(message, name.c_str(), 1);
    const blobmsg_policy policy{.name = name.c_str(), .type = BLOBMSG_TYPE_INT32};
    blob_attr* found = nullptr;
    EXPECT_EQ(blobmsg_parse_attr(&policy, 1, &found, message.head()), 0);
    EXPECT_EQ(found != nullptr, length == 255);
  }
}

TEST(Arrays, AreParsedByPositionAndCounted) {
  constexpr blobmsg_policy kPositions[] = {{.name = nullptr, .type = BLOBMSG_TYPE_STRING},
                                           {.name = nullptr, .type = BLOBMSG_TYPE_INT32}};
  Message message;
  add_array(message);  // [1, 2, "z"], then 3
  blob_attr* list = blob_first_child(message.head());
  EXPECT_EQ(blobmsg_check_array(list, BLOBMSG_TYPE_UNSPEC), 3);
  EXPECT_EQ(blobmsg_check_array(list, BLOBMSG_TYPE_INT32), -1);
  blob_attr* tb[2];
  EXPECT_EQ(blobmsg_parse_array(kPositions, 2, tb, blobmsg_data(list),
                                static_cast<unsigned>(blobmsg_data_len(list))),
            0);
  ASSERT_NE(tb[0], nullptr);
  EXPECT_STREQ(blobmsg_get_string(tb[0]), "z");
  EXPECT_EQ(tb[1], nullptr) << "the numbers came before the text";
}

TEST(PlainAttributes, AreParsedByTheirRules) {
  blob_attr_info rules[BLOB_ATTR_LAST] = {};
  for (unsigned type = 0; type < BLOB_ATTR_LAST; ++type) rules[type].type = type;
  const struct {
    const char* why;
    std::string children;
    int found;
    int id;      // looked at
    int offset;  // of the child stored for it, -1 for none
  } kCases[] = {
      {"the last valid duplicate is kept",
       "0600000800000001"
       "0600000800000002"
       "0600000700000000",
       1, 6, 8},
      {"numbers need their exact size",
       "04000005ff000000"
       "0500000700000000"
       "0700000800000000",
       1, 5, -1},
      {"a string needs its NUL",
       "0300000678780000"
       "0300000400000000",
       0, 3, -1},
      {"a string of a NUL only", "0300000500000000", 1, 3, 0},
      {"a double may be longer", "08000010000000000000000000000000", 1, 8, 0},
      {"the extended flag is not looked at", "8600000800000001", 1, 6, 0},
      {"unknown ids are ignored", "2000000800000001", 0, 6, -1},
      {"a truncated tail is ignored", "06000008000000010600000800", 1, 6, 0},
  };
  for (const auto& c : kCases) {
    Bytes bytes = from_hex("7f000000" + c.children);
    bytes[3] = static_cast<uint8_t>(bytes.size());
    const Input input(bytes);
    blob_attr* tb[BLOB_ATTR_LAST];
    EXPECT_EQ(blob_parse_untrusted(input.attr(), input.size(), tb, rules, BLOB_ATTR_LAST), c.found) << c.why;
    auto* expected = c.offset < 0 ? nullptr : reinterpret_cast<blob_attr*>(input.attr()->data + c.offset);
    EXPECT_EQ(tb[c.id], expected) << c.why;
    auto* untouched = reinterpret_cast<blob_attr*>(1);
    EXPECT_EQ(blob_parse_untrusted(input.attr(), input.size() - 1, &untouched, rules, 1), 0) << c.why;
    EXPECT_EQ(untouched, reinterpret_cast<blob_attr*>(1)) << c.why;
  }
}

TEST(Parsing, ReadsNothingOutsideRandomInput) {
  std::mt19937 random(20260201);
  const auto vectors = wire::load_vectors();
  blob_attr_info rules[16] = {};
  for (unsigned id = 0; id < 16; ++id) rules[id].type = id % BLOB_ATTR_LAST;
  for (int round = 0; round < 20000; ++round) {
    // A recorded message with a few bytes spoilt and cut short, or noise.
    Bytes bytes = std::next(vectors.begin(), random() % vectors.size())->second;
    if (round % 4 == 0) std::generate(bytes.begin(), bytes.end(), [&] { return random() & 0xff; });
    for (unsigned spoilt = random() % 4; spoilt > 0; --spoilt)
      bytes[random() % bytes.size()] = random() & 0xff;
    bytes.resize(1 + random() % bytes.size());
    const Input input(bytes);
    blob_attr* tb[16];
    blobmsg_parse(kPolicy, ARRAY_SIZE(kPolicy), tb, input.data(), input.size());
    blobmsg_parse_array(kPolicy, ARRAY_SIZE(kPolicy), tb, input.data(), input.size());
    if (blob_parse_untrusted(input.attr(), input.size(), tb, rules, 16) == 0) continue;
    blob_attr* field = nullptr;
    size_t rem = 0;
    blob_for_each_attr(field, input.attr(), rem) {
      if (!blobmsg_check_attr_len(field, false, rem)) continue;
      blobmsg_check_array(field, BLOBMSG_TYPE_UNSPEC);
      EXPECT_LE(blobmsg_data_len(field), blob_len(field));
    }
  }
}

// --- the buffer

TEST(Buffer, GrowsInStepsAndKeepsItsMemory) {
  blob_buf buf{};
  blob_buf_free(&buf);
  ASSERT_EQ(blob_buf_init(&buf, 0), 0);
  EXPECT_EQ(buf.buflen, 256);
  ASSERT_NE(blob_put(&buf, 1, nullptr, 300), nullptr);
  EXPECT_EQ(buf.buflen, 512);
  blob_buf_init(&buf, 0);
  EXPECT_EQ(buf.buflen, 512);
  EXPECT_EQ(blob_len(buf.head), 0U);
  blob_buf_free(&buf);
  EXPECT_EQ(buf.buf, nullptr);
  EXPECT_EQ(buf.head, nullptr);
  EXPECT_EQ(buf.buflen, 0);
  EXPECT_NE(buf.grow, nullptr);
}

TEST(Buffer, RefusesMoreThanALengthCanSayAndStaysAsItWas) {
  Message message;
  blob_buf* buf = message;
  ASSERT_EQ(blobmsg_add_u32(buf, "first", 1), 0);
  ASSERT_NE(blob_put(buf, 1, nullptr, 16000000), nullptr);
  const size_t before = blob_raw_len(buf->head);
  EXPECT_EQ(blob_put(buf, 1, nullptr, 1000000), nullptr);
  EXPECT_EQ(blobmsg_add_field(buf, BLOBMSG_TYPE_UNSPEC, "x", nullptr, UINT_MAX), -1);
  EXPECT_EQ(blob_new(buf, 1, -1), nullptr);
  EXPECT_EQ(blobmsg_add_string(buf, std::string(70000, 'n').c_str(), "name too long"), -1);
  EXPECT_EQ(blobmsg_add_string(buf, "x", nullptr), -1);
  EXPECT_EQ(blob_raw_len(message.head()), before);
  EXPECT_EQ(blobmsg_get_u32(blob_first_child(message.head())), 1U);
}

TEST(Buffer, CountsANestedContainerWhenItIsClosed) {
  Message message;
  void* outer = blob_nest_start(message, 1);
  void* inner = blob_nest_start(message, 2);
  for (int i = 0; i < 200; ++i) blob_put_string(message, 3, "grows while two containers are open");
  blob_nest_end(message, inner);
  blob_nest_end(message, outer);
  const blob_attr* first = blob_first_child(message.head());
  EXPECT_EQ(blob_raw_len(message.head()), 4 + 4 + 4 + 200 * 40U);
  EXPECT_EQ(blob_id(first), 1U);
  EXPECT_EQ(blob_len(first), 4 + 200 * 40U);
}

TEST(Attributes, AreCopiedAndCompared) {
  Message message;
  add_event(message);
  blob_attr* copy = blob_memdup(message.head());
  EXPECT_TRUE(blob_attr_equal(message.head(), copy));
  copy->data[blob_len(copy) - 1] ^= 1;
  EXPECT_FALSE(blob_attr_equal(message.head(), copy));
  EXPECT_FALSE(blob_attr_equal(message.head(), nullptr));
  free(copy);
  Message second;
  blob_put_raw(second, blob_first_child(message.head()), 16);
  blobmsg_add_blob(second, blob_first_child(message.head()));
  EXPECT_EQ(hex_of(second.head()),
            "000000248500001000056576656e740000000001"
            "8500001000056576656e740000000001");
}

}  // namespace
