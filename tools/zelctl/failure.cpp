#include "failure.h"

#include <cerrno>
#include <cstdarg>

#include "json.h"
#include "output.h"
#include "text.h"

namespace zelctl {
namespace {

[[noreturn]] void end(Exit exit, int code, const std::string& why, const char* advice) {
  const std::string report = failure_report(code, why, advice);
  progress("");
  if (manner().json)
    print(report, exit);
  else
    print_report(report);
  end_process(exit);
}

}  // namespace

std::string failure_report(int code, const std::string& why, const char* advice) {
  const std::string text = readable(why);
  if (!manner().json)
    return format("zelctl: %s%s\n%s\n", text.c_str(), code != 0 ? format(" (%d)", code).c_str() : "", advice);
  const JsonTree json(cJSON_CreateObject());
  cJSON_AddStringToObject(json.get(), "error", text.c_str());
  cJSON_AddRawToObject(json.get(), "code", format("%d", code).c_str());
  cJSON_AddStringToObject(json.get(), "advice", advice);
  return one_line(json.get());
}

Exit exit_for(int error) {
  return error == EACCES || error == EPERM ? kNotPermitted : kFailed;
}

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
