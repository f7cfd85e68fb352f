// pattern.h: what a text is to look like: a POSIX extended regular expression, found anywhere in it, as grep -E does.
#pragma once
#include <regex.h>

#include <string>

#include "../failure.h"
#include "../verbs/status.h"

namespace routerbox {

class Pattern {
 public:
  // Throws Failure for a text that is no expression.
  explicit Pattern(const std::string& text) {
    const int fault = regcomp(&compiled_, text.c_str(), REG_EXTENDED | REG_NOSUB);
    if (fault == 0) return;
    char why[200];
    regerror(fault, &compiled_, why, sizeof why);
    throw Failure("'" + text + "' is no pattern: " + why, kWrongCommandLine);
  }
  ~Pattern() { regfree(&compiled_); }
  Pattern(const Pattern&) = delete;
  Pattern& operator=(const Pattern&) = delete;

  bool fits(const std::string& text) const { return regexec(&compiled_, text.c_str(), 0, nullptr, 0) == 0; }

 private:
  regex_t compiled_{};
};

}  // namespace routerbox
