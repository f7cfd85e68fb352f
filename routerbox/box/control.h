// control.h: the box's control socket: HTTP and JSON.
//
//   POST /VERB    with the verb's arguments as members of one JSON object (verbs/table.h); an empty body has none.
//                 200 and the verb's result, an object. Otherwise 400 and {"error": TEXT, "status": S}, the status as
//                 the program `routerbox` ends with it (support/status.h).
//   GET /verbs    the verbs, as an array of {"verb", "arguments": [{"name", "required", "help", "form"}], "result",
//                 "help", "example"}; the form is how it is typed: "word", "option" or "flag". A flag is true or false,
//                 other arguments are texts, or numbers where they are some; the value of "set" is any JSON. The result
//                 is a JSON Schema (verbs/schema.h)
#pragma once
#include <functional>
#include <string>

#include "../support/io.h"
#include "../support/json.h"

namespace routerbox {

// Carries out a verb; throws Failure, with one of Status. Called in threads of the control's own, several at a time.
using ControlHandler = std::function<Json(const std::string& verb, const Json& arguments)>;

// Takes connections from now on, for as long as the process lives.
void start_control(Descriptor socket, ControlHandler handler);

}  // namespace routerbox
