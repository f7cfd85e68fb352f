// changes.h: what people do to a router, as changes of its state. Each throws Failure that says what is wrong with
// the wish, and the nearest right word.
#pragma once
#include "../support/json.h"

namespace routerbox::router {

// {"path": "WIFIStatus.0.WIFI_SSID", "value": "Guest"}: a member that is there gets another value. A number for a
// member that is a text becomes its digits, and digits for a number the number.
void set_member(const Json& wanted, Json* state);

// {"up": false}: the internet is out of reach, or is not any more and the cable is linked.
void set_link(const Json& wanted, Json* state);

// {"add": "sdb1"} or {"remove": "sda1"}
void change_disks(const Json& wanted, Json* state);

}  // namespace routerbox::router
