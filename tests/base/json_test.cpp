#include "base/json.h"

#include <gtest/gtest.h>

TEST(JsonMember, IsFoundByItsExactNameFirstThenIgnoringCase) {
  const zel::JsonTree root(
      cJSON_Parse(R"({"WAN_TYPE": 1, "WAN_Type": 2, "list": [], "text": "t", "no": null})"));
  static const struct {
    const char* why;
    const char* name;
    int type;
    const char* found;  // The member's own name, or null.
  } kCases[] = {
      {"exact, though another comes first", "WAN_Type", zel::kJsonNumber, "WAN_Type"},
      {"exact", "WAN_TYPE", zel::kJsonNumber, "WAN_TYPE"},
      {"neither is exact: the first", "wan_type", zel::kJsonNumber, "WAN_TYPE"},
      {"array", "list", zel::kJsonArray, "list"},
      {"of another type", "text", zel::kJsonNumber, nullptr},
      {"null is no string", "no", zel::kJsonString, nullptr},
      {"missing", "absent", zel::kJsonString, nullptr},
  };
  for (const auto& c : kCases) {
    const cJSON* member = zel::json_member(root.get(), c.name, static_cast<zel::JsonType>(c.type));
    EXPECT_STREQ(member != nullptr ? member->string : nullptr, c.found) << c.why;
  }
  const zel::JsonTree array(cJSON_Parse("[1]"));
  EXPECT_EQ(zel::json_member(array.get(), "x"), nullptr);
  EXPECT_EQ(zel::json_member(nullptr, "x"), nullptr);
}

TEST(JsonBits, TakeSignedAndUnsignedSpellingsOf32Bits) {
  static const struct {
    const char* text;
    uint32_t bits;
  } kCases[] = {{"-1", 0xFFFFFFFF},        {"4294967295", 0xFFFFFFFF}, {"-3", 0xFFFFFFFD},   {"10001", 10001},
                {"2147483648", 1U << 31U}, {"1e300", 0x7FFFFFFF},      {"-1e300", 1U << 31U}};
  for (const auto& c : kCases)
    EXPECT_EQ(zel::json_bits(zel::JsonTree(cJSON_Parse(c.text)).get()), c.bits) << c.text;
}
