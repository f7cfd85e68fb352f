// pattern.h: what a text is to look like: a POSIX extended regular expression, found anywhere in it, as grep -E does.
#pragma once
#include <regex.h>

#include <memory>
#include <string>

namespace routerbox {

class Pattern {
 public:
  explicit Pattern(const std::string& text) {
    regex_t compiled;
    if (const int fault = regcomp(&compiled, text.c_str(), REG_EXTENDED | REG_NOSUB); fault != 0) {
      char why[200];
      regerror(fault, &compiled, why, sizeof why);
      fault_ = why;
      return;
    }
    compiled_.reset(new regex_t(compiled), [](regex_t* gone) {
      regfree(gone);
      delete gone;
    });
  }

  // Why the text is no expression; empty when it is one. Nothing fits what is none.
  const std::string& fault() const { return fault_; }
  bool fits(const std::string& text) const {
    return compiled_ && regexec(compiled_.get(), text.c_str(), 0, nullptr, 0) == 0;
  }

 private:
  std::shared_ptr<const regex_t> compiled_;
  std::string fault_;
};

}  // namespace routerbox
