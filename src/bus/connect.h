// connect.h: how the library meets libubus.
//
// The genuine libubus keeps process-wide state: one buffer every message is built in, one table of parsed
// attributes for all connections. So every call into it, whatever the connection, is made inside a
// BusSection, and what it hands out is used up before the section ends. It also takes over signals when it
// connects and, in older generations, writes to a dead broker without a guard; both are undone here.
#pragma once

// libubus of 2014 has no extern "C" of its own. The standard headers it includes must come first: in C++ they
// hold templates, which cannot be inside.
#include <errno.h>
#include <signal.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/time.h>
#include <sys/types.h>

extern "C" {
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubus.h>
}

#include "base/handles.h"
#include "base/lock.h"
#include "base/sigpipe.h"

namespace zel {

using BusLink = std::unique_ptr<ubus_context, Call<ubus_free>>;

// The global lock and the guard together: the scope of every use of libubus.
class BusSection {
 private:
  GlobalSection lock_;
  SigpipeGuard guard_;
};

// Connects to the broker at the default path. Null on failure, with errno set. The plug-in's signal handling
// is afterwards what it was before, and the socket is close-on-exec. Inside a BusSection.
BusLink connect_bus() noexcept;

// A message under construction. Freed with the scope.
class BusMessage {
 public:
  BusMessage() noexcept { blob_buf_init(&buffer_, 0); }
  ~BusMessage() { blob_buf_free(&buffer_); }
  BusMessage(const BusMessage&) = delete;
  BusMessage& operator=(const BusMessage&) = delete;

  blob_buf* buffer() noexcept { return &buffer_; }
  blob_attr* data() noexcept { return buffer_.head; }

 private:
  blob_buf buffer_{};
};

}  // namespace zel
