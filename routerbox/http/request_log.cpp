#include "request_log.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdio>
#include <ctime>

namespace routerbox {
namespace {

std::string now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  tm parts{};
  gmtime_r(&time.tv_sec, &parts);
  char date[32], text[48];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(time.tv_nsec / 1'000'000));
  return text;
}

std::string column(std::string text) {
  if (text.empty()) return "-";
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  return text;
}

}  // namespace

RequestLog::RequestLog(const std::string& file)
    : file_(file.empty() ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                         : open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644)) {
  if (!file_) fail_errno("cannot open the request log " + file);
}

void RequestLog::write(const std::string& method, const std::string& parameters, const std::string& code,
                       const std::string& fault) {
  std::string line = now();
  for (const std::string& text : {method, parameters, code, fault}) line += '\t' + column(text);
  const std::lock_guard lock(mutex_);
  write_all(file_.get(), line + '\n');
}

}  // namespace routerbox
