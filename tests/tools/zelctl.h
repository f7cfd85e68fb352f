// zelctl.h: $Z runs the tool, $NOBODY in front of it as a user that is no plug-in's; $F is the package file,
// $BROKER the bus's process.
#pragma once
#include <gtest/gtest.h>
#include <stdlib.h>

#include "run.h"
#include "support/stopped_broker.h"

class Zelctl : public testing::Test {
 protected:
  void SetUp() override {
    setenv("Z", TEST_EMULATOR " " TEST_BIN "/zelctl", 1);
    setenv("NOBODY", "setpriv --reuid 4711 --regid 4711 --clear-groups", 1);
    setenv("BROKER", std::to_string(test::broker_of(test::kBusPath)).c_str(), 1);
    setenv("F", "/etc/norva/packages.json", 1);
  }
};
