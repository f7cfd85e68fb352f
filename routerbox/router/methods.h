// methods.h: what the router answers to each method.
#pragma once
#include <stdexcept>
#include <string>
#include <vector>

#include "../support/json.h"
#include "call.h"
#include "state.h"

namespace routerbox::router {

// The router's error codes.
enum Code : int {
  kDone = 0,
  kUnknownMethod = 101,
  kMalformedParameter = 102,
  kUnknownParameter = 103,
  kRepeatedParameter = 104,
  kMissingParameter = 105,
  kBadValue = 106,
  kNotSaved = 107,
};

class Refusal : public std::runtime_error {
 public:
  Refusal(Code code, const std::string& text) : std::runtime_error(text), code_(code) {}
  Code code() const { return code_; }

 private:
  Code code_;
};

std::vector<std::string> methods();

// Carries the call out and returns the whole answer.
Json answer(State& state, const Call& call);

// An answer that holds no more than this.
Json envelope(int code, const std::string& text);
int code_of(const Json& answer);

// Applies set_router_wan to the state; throws Refusal.
void set_wan(State& state, const Parameters& parameters);

}  // namespace routerbox::router
