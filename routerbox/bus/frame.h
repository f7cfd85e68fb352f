// frame.h: what the broker tells of a frame that another client sent or got.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "../support/json.h"
#include "bus/libubus.h"

namespace routerbox::bus {

struct Frame {
  uint32_t client = 0, peer = 0, sequence = 0;
  int type = 0;            // enum ubus_msg_type
  bool to_client = false;  // otherwise from it
  std::optional<uint32_t> status, object;
  std::string path, method;
  std::string caller;   // the user who calls, of a call that is passed on
  std::string account;  // the client's user, where the broker tells: the box's own does
  Json data;            // null: none
};

// None when the description lacks what every frame has.
std::optional<Frame> frame_from(blob_attr* description);

}  // namespace routerbox::bus
