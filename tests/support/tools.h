// tools.h: the system's programs that calls run.
#pragma once

#include <unistd.h>

#include <cstdlib>
#include <string>

#include "support/disk.h"

// Runs `body` with each layout of the programs' output: the host's, then busybox's.
template <class Body>
void with_both_layouts(Body body) {
  const char* const path_now = getenv("PATH");
  const std::string usual = path_now != nullptr ? path_now : "/usr/bin:/bin";
  for (const std::string& path : {usual, "/var/run/router/busybox:" + usual}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(access("/var/run/router/busybox", F_OK), 0) << "this test's box has no router";
    setenv("PATH", path.c_str(), 1);
    body();
  }
}

// Puts a script in place of a program.
inline void put_tool(const char* name, const std::string& lines) {
  mkdir("/tmp/bin", 0755);
  put_script(std::string("/tmp/bin/") + name, lines);
  setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
}
