// print.h: what the verbs print for people.
#pragma once
#include <string>

#include "../support/json.h"
#include "../verbs/table.h"

namespace routerbox {

// With its line feed; empty when there is nothing to say.
std::string readable_result(const std::string& verb, const Json& result);
std::string help_for(const Verb& verb);
// One line for each verb.
std::string list_of_verbs();

}  // namespace routerbox
