// table.h: the verbs: what may be typed, sent to a box's control socket and written in tests.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "../support/json.h"

namespace routerbox {

enum class Form : int { kWord, kOption, kFlag };  // on the command line: TEXT, --name TEXT, --name
inline constexpr const char* kFormNames[] = {"word", "option", "flag"};

struct Argument {
  const char* name;
  bool required;
  const char* help;
  Form form = Form::kWord;
  bool box = true;  // the box takes it too; otherwise it is the program's alone
};

enum class Where : int {
  kAlone,  // the program that was called does it, and needs no box
  kHere,   // the program that was called does it
  kBox,    // it is sent to the box
};

struct Verb {
  const char* name;
  const char* usage;  // its arguments as one writes them
  std::vector<Argument> arguments;
  const char* help;
  const char* example;
  Where where;
};

const std::vector<Verb>& verbs();

// Throws Failure with the nearest names when there is none.
const Verb& verb_named(const std::string& name);

// Throws Failure unless the verb is one for a box and these are arguments for it.
void check_call(const std::string& verb, const Json& arguments);

Json verbs_as_json();

}  // namespace routerbox
