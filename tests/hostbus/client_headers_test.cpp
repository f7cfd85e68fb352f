// blobmsg.h comes first, outside extern "C".
#include <libubox/blobmsg.h>
// Then the rest.
#include <libubox/uloop.h>
#include <libubus.h>

#include <gtest/gtest.h>

#include <string>

extern "C" ubus_object_type* c99_type(void);
extern "C" int c99_sum(blob_attr* message);

namespace {

int nothing(ubus_context*, ubus_object*, ubus_request_data*, const char*, blob_attr*) {
  return 0;
}

constexpr blobmsg_policy kPolicy[] = {{.name = "a", .type = BLOBMSG_TYPE_INT32},
                                      {.name = "b", .type = BLOBMSG_TYPE_STRING}};
constexpr ubus_method kMethods[] = {
    UBUS_METHOD("plain", nothing, kPolicy), UBUS_METHOD_NOARG("noarg", nothing),
    UBUS_METHOD_MASK("mask", nothing, kPolicy, 2), UBUS_METHOD_TAG("tag", nothing, kPolicy, UBUS_TAG_ADMIN),
    UBUS_METHOD_TAG_NOARG("tag_noarg", nothing, UBUS_TAG_PRIVATE)};

TEST(Headers, InitialiseTheSameInCAndInCxx) {
  const ubus_object_type& c = *c99_type();
  ASSERT_EQ(c.n_methods, static_cast<int>(ARRAY_SIZE(kMethods)));
  for (int i = 0; i < c.n_methods; ++i) {
    EXPECT_STREQ(c.methods[i].name, kMethods[i].name);
    EXPECT_EQ(c.methods[i].mask, kMethods[i].mask);
    EXPECT_EQ(c.methods[i].tags, kMethods[i].tags);
    EXPECT_EQ(c.methods[i].n_policy, kMethods[i].n_policy);
    EXPECT_EQ(c.methods[i].policy == nullptr, kMethods[i].policy == nullptr);
  }
}

TEST(Headers, CallOneLibraryFromCAndFromCxx) {
  blob_buf buf{};
  blob_buf_init(&buf, 0);
  blobmsg_add_u32(&buf, "a", 20);
  blobmsg_add_u32(&buf, "b", 22);
  EXPECT_EQ(c99_sum(buf.head), 42);
  EXPECT_EQ(c99_sum(nullptr), 0);
  blob_buf_free(&buf);
}

TEST(StatusTexts, AreKnownByNumberOrSayTheNumber) {
  const struct {
    int status;
    const char* text;
  } kCases[] = {{0, "Success"},
                {1, "Invalid command"},
                {2, "Invalid argument"},
                {3, "Method not found"},
                {4, "Not found"},
                {5, "No response"},
                {6, "Permission denied"},
                {7, "Request timed out"},
                {8, "Operation not supported"},
                {9, "Unknown error"},
                {10, "Connection failed"},
                {11, "Out of memory"},
                {12, "Parsing message data failed"},
                {13, "System error"},
                {14, "Unknown error: 14"},
                {-1, "Unknown error: -1"},
                {INT32_MIN, "Unknown error: -2147483648"}};
  for (const auto& c : kCases) EXPECT_STREQ(ubus_strerror(c.status), c.text);
}

}  // namespace
