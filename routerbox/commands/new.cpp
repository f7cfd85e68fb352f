#include "new.h"

#include <filesystem>
#include <utility>
#include <vector>

#include "../project/project.h"
#include "../support/io.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "../support/unfinished.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

using Replacements = std::vector<std::pair<std::string, std::string>>;

std::string fill_in(std::string text, const Replacements& words) {
  for (const auto& [word, value] : words)
    for (size_t place = 0; (place = text.find(word, place)) != std::string::npos; place += value.size())
      text.replace(place, word.size(), value);
  return text;
}

void copy_filled(const fs::path& from, const fs::path& to, const Replacements& words, Json* files) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(from)) {
    const std::string name = fill_in(entry.path().lexically_relative(from), words);
    if (entry.is_directory()) {
      fs::create_directory(to / name);
      continue;
    }
    const auto mode = static_cast<mode_t>(fs::status(entry.path()).permissions());
    write_file(to / name, fill_in(read_file(entry.path()), words), mode);
    files->push_back(name);
  }
}

}  // namespace

Json make_project(const std::string& folder, const std::string& language) {
  const fs::path place = fs::absolute(folder).lexically_normal();
  const std::string name = place.filename();
  if (const char* const fault = fault_of_plugin_name(name))
    throw Failure("'" + name + "' " + fault, kWrongCommandLine);
  const fs::path prefix = fs::path(own_folder()).parent_path(),
                 templates = prefix / "share/routerbox/templates";
  if (!fs::is_directory(templates))
    throw Failure(
        "the templates are missing: " + templates.string() + " is no folder; install the component box again",
        kFailed);
  std::error_code error;
  if (!fs::create_directory(place, error))
    throw Failure("cannot make the folder " + place.string() + ": " +
                      (error ? error.message() : "it exists; choose another name or remove it"),
                  kNo);
  Unfinished unfinished(place);
  const Replacements words = {{"@NAME@", name},
                              {"@LANGUAGE@", language},
                              {"@COMPILER@", language == "c" ? "C" : "CXX"},
                              {"@PREFIX@", prefix}};
  Json files = Json::array();
  for (const std::string& part : {std::string("common"), language})
    copy_filled(templates / part, place, words, &files);
  unfinished.finish();
  return {{"folder", place.string()}, {"files", files}};
}

}  // namespace routerbox
