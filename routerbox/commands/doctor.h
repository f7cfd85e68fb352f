// doctor.h: what this machine lacks for the box.
#pragma once
#include "../support/json.h"

namespace routerbox {

// {"ready": BOOLEAN, "checks": [{"what", "for", "needed", "ok", "found", "advice"}]}: "ready" when nothing that every
// box needs is missing; "found" is what there is or what is wrong; "advice" is how to get it, empty when it is there.
Json examine_machine();

}  // namespace routerbox
