#include "request_log.h"

#include <sys/stat.h>

#include <algorithm>

#include "../trace/peers.h"
#include "owner.h"

namespace routerbox {
namespace {

std::string column(std::string text) {
  if (text.empty()) return "-";
  std::replace_if(
      text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  return text;
}

Descriptor open_log(const std::optional<std::string>& file) {
  if (!file) return Descriptor();
  Descriptor log(file->empty() ? fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0)
                               : open(file->c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!log) fail_errno("cannot open the request log " + *file);
  return log;
}

}  // namespace

RequestLog::RequestLog(const std::optional<std::string>& file, const std::string& box, Channel channel,
                       std::string server)
    : file_(open_log(file)), box_(box), channel_(channel), server_(std::move(server)), trace_(box) {}

void RequestLog::write(const httplib::Request& request, Arrival arrival, const Served& served) {
  const std::chrono::nanoseconds took = now() - arrival;
  if (file_) log(served);
  if (box_.empty()) return;
  Json details = served.details;
  if (!served.fault.empty()) details["fault"] = served.fault;
  trace_.record({channel_, name_of(sender_of(request), box_), served.to.empty() ? server_ : served.to,
                 served.method, served.code, took, details});
}

void RequestLog::log(const Served& served) {
  std::string line = utc_now();
  for (const std::string& text : {served.method, served.parameters, served.code, served.fault})
    line += '\t' + column(text);
  const std::lock_guard lock(mutex_);
  write_all(file_.get(), line + '\n');
}

}  // namespace routerbox
