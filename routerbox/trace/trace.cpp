#include "trace.h"

#include <errno.h>
#include <sys/stat.h>

#include <cmath>
#include <cstdio>
#include <ctime>

#include "peers.h"

namespace routerbox {
namespace {

std::string shorten(const std::string& text) {
  if (text.size() <= kLongestText) return text;
  size_t end = kLongestText;
  const auto within_character = [&] { return (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80; };
  while (end > kLongestText - 3 && within_character()) --end;
  return text.substr(0, end) + "... (" + std::to_string(text.size()) + " bytes)";
}

void shorten_texts(Json* value) {
  if (value->is_string()) *value = shorten(value->get_ref<const std::string&>());
  if (value->is_structured())
    for (Json& inner : *value) shorten_texts(&inner);
}

Json shorten_details(Json details) {
  shorten_texts(&details);
  const std::string text = text_of(details);
  return text.size() <= kLongestDetails ? details : Json(shorten(text));
}

}  // namespace

std::string utc_now() {
  timespec time{};
  clock_gettime(CLOCK_REALTIME, &time);
  tm parts{};
  gmtime_r(&time.tv_sec, &parts);
  char date[32], text[48];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  std::snprintf(text, sizeof text, "%s.%03dZ", date, static_cast<int>(time.tv_nsec / 1'000'000));
  return text;
}

double monotonic_seconds() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

Trace::Trace(const std::string& folder, off_t limit)
    : file_(folder.empty() ? "" : folder + "/trace.jsonl"), limit_(limit) {
  if (folder.empty()) return;
  started_ = read_roster(folder).started;
  fd_ = Descriptor(open(file_.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0644));
  if (!fd_) fail_errno("cannot open the trace " + file_);
}

void Trace::record(const TraceLine& line) {
  if (!fd_) return;
  Json json = {{"at", std::round((monotonic_seconds() - started_) * 1e6) / 1e6},
               {"time", utc_now()},
               {"channel", kChannelNames[static_cast<int>(line.channel)]},
               {"from", shorten(line.from)},
               {"to", shorten(line.to)},
               {"what", shorten(line.what)},
               {"result", shorten(line.result)}};
  if (line.took) json["ms"] = std::round(static_cast<double>(line.took->count()) / 1e3) / 1e3;
  if (!line.details.is_null()) json["details"] = shorten_details(line.details);
  append(text_of(json) + "\n");
}

void Trace::append(const std::string& line) {
  const std::lock_guard lock(mutex_);
  const std::string text = broken_ ? "\n" + line : line;
  struct stat status {};
  if (fstat(fd_.get(), &status) == 0 && status.st_size + static_cast<off_t>(text.size()) > limit_)
    return report_once("it has reached its limit of " + std::to_string(limit_) + " bytes");
  const ssize_t written = retry([&] { return write(fd_.get(), text.data(), text.size()); });
  if (written == static_cast<ssize_t>(text.size())) {
    broken_ = false;
    return;
  }
  broken_ = broken_ || written > 0;
  report_once(std::strerror(written < 0 ? errno : ENOSPC));
}

void Trace::report_once(const std::string& why) {
  if (reported_) return;
  reported_ = true;
  const std::string line = std::string(program_invocation_short_name) +
                           ": what happens from here on may be missing in " + file_ + ": " + why + "\n";
  write_all(STDERR_FILENO, line);
}

}  // namespace routerbox
