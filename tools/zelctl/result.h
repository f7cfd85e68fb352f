// result.h: the result of a command, built side by side for people and for scripts.
#pragma once
#include <string>
#include <vector>

#include "json.h"

namespace zelctl {

class Result {
 public:
  Result();
  // The document for scripts, an object.
  cJSON* json() const { return json_.get(); }

  // For people, as printf; what comes from outside may be in it as it is. A row's cells are parted by tabs, and rows
  // that follow each other are aligned.
  void row(const char* text, ...) __attribute__((format(printf, 2, 3)));
  void line(const char* text, ...) __attribute__((format(printf, 2, 3)));

  // Prints the form that is wanted.
  void show();

 private:
  void end_table();

  JsonTree json_;
  std::string text_;
  std::vector<std::string> rows_;
};

}  // namespace zelctl
