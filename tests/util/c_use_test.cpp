#include <gtest/gtest.h>

extern "C" int use_util_from_c(void);

TEST(UtilHeader, ServesPlainC) {
  EXPECT_EQ(use_util_from_c(), 0);
}
