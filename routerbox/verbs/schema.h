// schema.h: what the box's verbs give back.
#pragma once
#include <string>

#include "../support/json.h"

namespace routerbox {

// The result of a verb of the box, as a JSON Schema: an object with these members and no others.
Json result_schema(const std::string& verb);

}  // namespace routerbox
