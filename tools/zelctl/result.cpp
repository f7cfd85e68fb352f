#include "result.h"

#include <cstdarg>

#include "output.h"
#include "text.h"

namespace zelctl {

Result::Result() : json_(cJSON_CreateObject()) {
  require_memory(json_.get());
}

void Result::row(const char* text, ...) {
  va_list values;
  va_start(values, text);
  rows_.push_back(readable(format_list(text, values), "\t"));
  va_end(values);
}

void Result::line(const char* text, ...) {
  end_table();
  va_list values;
  va_start(values, text);
  text_ += readable(format_list(text, values), "\n\t");
  va_end(values);
  text_ += '\n';
}

void Result::show() {
  end_table();
  print(manner().json ? printed(json_.get()) : text_);
}

void Result::end_table() {
  text_ += columns(rows_);
  rows_.clear();
}

}  // namespace zelctl
