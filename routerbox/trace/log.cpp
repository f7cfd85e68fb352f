#include "log.h"

#include <poll.h>

#include <algorithm>
#include <iomanip>
#include <iostream>
#include <sstream>

#include "../support/failure.h"
#include "../support/nearest.h"
#include "../support/printable.h"
#include "../support/status.h"
#include "line_reader.h"

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

void check_filters(const std::string& file, const LogWish& wish, const std::vector<std::string>& known) {
  for (const std::string& filter : wish.filters) {
    bool met = std::find(known.begin(), known.end(), filter) != known.end();
    LineReader trace(file);
    const auto look = [&](std::string_view text) {
      const Json line = Json::parse(text, nullptr, false);
      met = met || (line.is_object() && fits(line, {filter}));
    };
    while (!met && trace.read_some(look)) continue;
    if (!met) throw Failure("the trace has nothing of '" + filter + "'" + advice_for(filter, known), kNo);
  }
}

void print_log(const std::string& file, const LogWish& wish, const std::function<bool()>& ended) {
  LineReader trace(file);
  const auto print_line = [&](std::string_view line) { print(std::string(line), wish); };
  for (bool last = false;;) {
    if (trace.read_some(print_line)) continue;
    std::cout << std::flush;
    if (!wish.follow || last || !std::cout) return;
    last = ended();
    if (!last) poll(nullptr, 0, kBetweenLooksMs);
  }
}

}  // namespace routerbox
