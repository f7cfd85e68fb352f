#include "failure.h"

#include <cstdarg>

#include "json.h"
#include "output.h"
#include "text.h"

namespace zelctl {
namespace {

[[noreturn]] void end(Exit exit, int code, const std::string& why, const char* advice) {
  const std::string text = readable(why);
  if (manner().json) {
    const JsonTree json(cJSON_CreateObject());
    cJSON_AddStringToObject(json.get(), "error", text.c_str());
    cJSON_AddNumberToObject(json.get(), "code", code);
    cJSON_AddStringToObject(json.get(), "advice", advice);
    print(printed(json.get()));
  } else if (code != 0) {
    print_report(format("zelctl: %s (%d)\n%s\n", text.c_str(), code, advice));
  } else {
    print_report(format("zelctl: %s\n%s\n", text.c_str(), advice));
  }
  end_process(exit);
}

}  // namespace

void fail(Exit exit, const char* advice, const char* why, ...) {
  va_list values;
  va_start(values, why);
  end(exit, 0, format_list(why, values), advice);
}

void fail_with(int code, Exit exit, const char* advice, const char* why, ...) {
  va_list values;
  va_start(values, why);
  end(exit, code, format_list(why, values), advice);
}

void fail_usage(const char* words, const char* why, ...) {
  va_list values;
  va_start(values, why);
  end(kUsage, 0, format_list(why, values),
      format("Help: zelctl %s%s--help", words, *words != '\0' ? " " : "").c_str());
}

}  // namespace zelctl
