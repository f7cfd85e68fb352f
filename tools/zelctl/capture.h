// capture.h: the router's state as a router box takes it.
#pragma once
#include "json.h"

namespace zelctl {

// Asks all there is to ask; what gives no answer is left out, with a note and an entry in the array. Without secrets,
// texts behind names that sound like one say "masked".
JsonTree capture_state(bool with_secrets, cJSON* left_out);

}  // namespace zelctl
