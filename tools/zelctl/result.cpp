#include "result.h"

#include <algorithm>
#include <cstdarg>
#include <cstring>

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

void Result::text(const char* key, const char* value) {
  add_text(json(), key, value);
  add_row(key, value);
}

void Result::number(const char* key, int64_t value, const char* text) {
  add_number(json(), key, value);
  add_row(key, text != nullptr ? text : format("%lld", static_cast<long long>(value)).c_str());
}

void Result::flag(const char* key, bool value, const char* yes, const char* no) {
  add_bool(json(), key, value);
  add_row(key, value ? yes : no);
}

void Result::show(int status) {
  end_table();
  print(manner().json ? one_line(json_.get()) : text_, status);
}

void Result::add_field(const char* key, const char* field, size_t size) {
  text(key, std::string(field, strnlen(field, size)).c_str());
}

void Result::add_row(const char* key, const char* value) {
  std::string name = key;
  // The unit stands with the value.
  for (const char* const unit : {"_kib", "_bytes", "_seconds"}) {
    if (std::string_view(name).ends_with(unit)) name.resize(name.size() - std::strlen(unit));
  }
  std::replace(name.begin(), name.end(), '_', ' ');
  row("%s\t%s", name.c_str(), value);
}

void Result::end_table() {
  text_ += columns(rows_);
  rows_.clear();
}

}  // namespace zelctl
