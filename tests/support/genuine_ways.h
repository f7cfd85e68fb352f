// genuine_ways.h: ways of the genuine bus libraries that programs have to live with, for tests on the host bus.
// A test that links genuine_ways.cpp has them in front of libubus; each is off until it is turned on.
#pragma once

struct GenuineWays {
  // ubus_connect (since 2017): SIGINT, SIGTERM and SIGCHLD get handlers and SIGPIPE is ignored, where they are default.
  bool connect_takes_signals = false;
  // ubus_connect (always): so many attempts find a signal in their way and give null with EINTR.
  int interrupted_connects = 0;
  // Input (always): of a frame over the limit only the first 12 bytes are read, and the rest is taken for frames.
  bool loses_framing = false;
  // Calls (2014): one whose broker hangs up waits on at full load, until the application finishes the open requests
  // from connection_lost. The process is aborted after ten seconds of it.
  bool calls_outlive_the_connection = false;
  // Calls (2014): one whose broker has gone writes without a guard, which raises SIGPIPE.
  bool writes_raise_sigpipe = false;
  // ubus_free (2014): the context's timer stays armed, in freed memory then. Counted, and null ends the process.
  bool free_keeps_the_timer = false;
  int freed_with_an_armed_timer = 0;
};

extern GenuineWays genuine_ways;
