#include "trace_reader.h"

#include <algorithm>

#include "../trace/log.h"

namespace routerbox {
namespace {

constexpr size_t kMostLines = 50'000;

}  // namespace

void TraceReader::read_more() {
  if (!trace_) trace_.emplace(file_);
  const auto take = [this](std::string_view text) {
    Json line = Json::parse(text, nullptr, false);
    if (line.is_object()) lines_.push_back(std::move(line));
  };
  while (trace_->read_some(take)) {
  }
  for (; lines_.size() > kMostLines; ++dropped_) lines_.pop_front();
}

void TraceReader::mark() {
  const std::lock_guard lock(mutex_);
  read_more();
  mark_ = dropped_ + lines_.size();
}

size_t TraceReader::end() {
  const std::lock_guard lock(mutex_);
  read_more();
  return dropped_ + lines_.size();
}

std::optional<Json> TraceReader::find(const Match& fits, size_t* next) {
  const std::lock_guard lock(mutex_);
  read_more();
  for (*next = std::max({*next, mark_, dropped_}); *next < dropped_ + lines_.size();)
    if (const Json& line = lines_[(*next)++ - dropped_]; fits(line)) return line;
  return std::nullopt;
}

void TraceReader::each(const std::function<void(const Json& line)>& take) {
  size_t next = 0;
  find(
      [&](const Json& line) {
        take(line);
        return false;
      },
      &next);
}

std::vector<std::string> TraceReader::last(const std::vector<std::string>& channels, size_t most) {
  const std::lock_guard lock(mutex_);
  read_more();
  std::vector<std::string> last;
  for (auto line = lines_.rbegin(); line != lines_.rend() && last.size() < most; ++line)
    if (std::find(channels.begin(), channels.end(), line->value("channel", "")) != channels.end())
      last.push_back(readable(*line));
  std::reverse(last.begin(), last.end());
  return last;
}

}  // namespace routerbox
