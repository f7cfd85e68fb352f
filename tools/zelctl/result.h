// result.h: the result of a command, built side by side for people and for scripts.
#pragma once
#include <string>
#include <vector>

#include "failure.h"
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

  // A member for scripts, and for people a row of its name, blanks in it and no unit, and of the value, or the text
  // given. A record's field is a text that need not end within it.
  void text(const char* key, const char* value);
  template <size_t Size>
  void field(const char* key, const char (&field)[Size]) {
    add_field(key, field, Size);
  }
  void number(const char* key, int64_t value, const char* text = nullptr);
  void flag(const char* key, bool value, const char* yes, const char* no);

  // Prints the form that is wanted; `status` is what the command ends with.
  void show(int status = kDone);

 private:
  void end_table();
  void add_field(const char* key, const char* field, size_t size);
  void add_row(const char* key, const char* value);

  JsonTree json_;
  std::string text_;
  std::vector<std::string> rows_;
};

}  // namespace zelctl
