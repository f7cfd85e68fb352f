#include "log.h"

#include <poll.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "../io.h"

namespace routerbox {
namespace {

constexpr int kBetweenLooksMs = 50;

bool fits(const Json& line, const std::vector<std::string>& filters) {
  return filters.empty() || std::any_of(filters.begin(), filters.end(), [&](const std::string& filter) {
           for (const char* key : {"channel", "from", "to"})
             if (text_of(line, key) == filter) return true;
           return false;
         });
}

// What comes from outside must not steer the terminal.
std::string printable(std::string text) {
  std::replace_if(
      text.begin(), text.end(), [](unsigned char c) { return c < ' ' || c == 0x7f; }, ' ');
  return text;
}

void print(const std::string& text, const LogWish& wish) {
  const Json line = Json::parse(text, nullptr, false);
  if (!line.is_object() || !fits(line, wish.filters)) return;
  std::cout << (wish.json ? text : printable(readable(line))) + "\n";
}

}  // namespace

std::string readable(const Json& line) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << std::setw(9) << line.value("at", 0.0) << "  " << std::left
       << std::setw(9) << text_of(line, "channel") << "  " << text_of(line, "from") << " -> "
       << text_of(line, "to") << "  " << text_of(line, "what") << "  " << text_of(line, "result");
  if (line.contains("ms")) text << "  (" << std::setprecision(1) << line.value("ms", 0.0) << " ms)";
  return text.str();
}

void print_log(const std::string& file, const LogWish& wish, const std::function<bool()>& ended) {
  const Descriptor trace(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!trace) fail_errno("cannot read " + file);
  std::string pending;
  char block[65536];
  for (bool last = false;;) {
    const ssize_t count = retry([&] { return read(trace.get(), block, sizeof block); });
    if (count < 0) fail_errno("cannot read " + file);
    if (count > 0) {
      pending.append(block, static_cast<size_t>(count));
      size_t begin = 0;
      for (size_t end; (end = pending.find('\n', begin)) != std::string::npos; begin = end + 1)
        print(pending.substr(begin, end - begin), wish);
      pending.erase(0, begin);
      continue;
    }
    std::cout << std::flush;
    if (!wish.follow || last || !std::cout) return;
    last = ended();
    if (!last) poll(nullptr, 0, kBetweenLooksMs);
  }
}

}  // namespace routerbox
