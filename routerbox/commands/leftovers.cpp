#include "leftovers.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "../support/printable.h"
#include "../support/whole_number.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> texts_in(const fs::path& file) {
  std::ifstream stream(file);
  std::vector<std::string> texts;
  for (std::string text; std::getline(stream, text, '\0');) texts.push_back(text);
  return texts;
}

std::string line_of(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + word;
  return printable(line.substr(0, 200));
}

}  // namespace

std::vector<std::string> kill_leftovers(const std::string& value, bool begins_so) {
  const std::string setting = std::string(kTestVariable) + "=" + value;
  const auto is_marked = [&](const std::string& text) {
    return begins_so ? text.starts_with(setting) : text == setting;
  };
  std::vector<std::string> names;
  for (const fs::directory_entry& entry : fs::directory_iterator("/proc")) {
    const auto number = whole_number<pid_t>(entry.path().filename().native());
    if (!number || *number == getpid()) continue;
    const std::vector<std::string> environment = texts_in(entry.path() / "environ");
    if (std::none_of(environment.begin(), environment.end(), is_marked)) continue;
    const std::string line = line_of(texts_in(entry.path() / "cmdline"));
    if (line.empty() || kill(*number, SIGKILL) != 0) continue;  // it has just ended
    names.push_back(line + " (process " + std::to_string(*number) + ")");
  }
  return names;
}

}  // namespace routerbox
