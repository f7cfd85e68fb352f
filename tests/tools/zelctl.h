// zelctl.h: $Z runs the tool, $F is the package file.
#pragma once
#include <gtest/gtest.h>
#include <stdlib.h>

#include "run.h"

class Zelctl : public testing::Test {
 protected:
  void SetUp() override {
    setenv("Z", TEST_EMULATOR " " TEST_BIN "/zelctl", 1);
    setenv("F", "/etc/norva/packages.json", 1);
  }
};
