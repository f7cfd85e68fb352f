#include "manifest.h"

#include <zel/perm.h>

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "../project/project.h"
#include "../support/failure.h"
#include "../support/json.h"

namespace routerbox::pack {
namespace {

constexpr int kFormat = 1;
constexpr size_t kLongestName = 200;
constexpr uint32_t kAllAbilities = (1U << PERM_ABILITY_COUNT) - 1;

[[noreturn]] void refuse(const std::string& why) {
  throw Failure(std::string(kManifest) + " " + why);
}

struct Mode {
  const char* text;
  mode_t mode;
};
constexpr Mode kModes[] = {{"0755", 0755}, {"0644", 0644}};

std::string text_of_mode(mode_t mode) {
  return std::find_if(std::begin(kModes), std::end(kModes), [&](const Mode& row) { return row.mode == mode; })
      ->text;
}

mode_t mode_from(const std::string& text) {
  for (const Mode& row : kModes)
    if (text == row.text) return row.mode;
  refuse("has a file of mode " + text + "; there is 0755 and 0644");
}

// A plug-in that a box could have, and that claims nothing of the router's own.
Package row_from(const Json& json) {
  const Package row =
      parse_packages(routerbox::text_of(Json{{"plugin", Json::array({json})}}), kManifest).front();
  if (const char* const fault = fault_of_plugin_name(row.appname))
    refuse("names the plug-in '" + row.appname + "'; a name " + fault);
  if (row.appid == PERM_DAEMON_APPID || row.appid == PERM_MANAGER_APPID)
    refuse("claims the appid " + row.appid + ", which is the router's own");
  if ((row.abilities & ~kAllAbilities) != 0) refuse("asks for abilities that do not exist");
  return row;
}

PackedFile file_from(const Json& json) {
  PackedFile file{json.at("name"), mode_from(json.at("mode")), json.at("size"), json.at("sha256")};
  if (const char* const fault = fault_of_name(file.name))
    refuse("has a file '" + file.name + "', which " + fault);
  return file;
}

Manifest read(const Json& json) {
  if (json.at("format") != kFormat)
    refuse("is of format " + json.at("format").dump() + ", and this routerbox knows " +
           std::to_string(kFormat));
  Manifest manifest{
      row_from(json.at("plugin")), json.at("processor"), json.at("program"), json.at("arguments"), {}};
  for (const Json& file : json.at("files")) manifest.files.push_back(file_from(file));
  const auto program = std::find_if(manifest.files.begin(), manifest.files.end(),
                                    [&](const PackedFile& file) { return file.name == manifest.program; });
  if (program == manifest.files.end() || program->mode != 0755 ||
      !manifest.program.starts_with(kProgramFolder))
    refuse("names the program '" + manifest.program + "', which is no executable file of " + kProgramFolder);
  return manifest;
}

}  // namespace

std::string text_of(const Manifest& manifest) {
  Json files = Json::array();
  for (const PackedFile& file : manifest.files)
    files.push_back({{"name", file.name},
                     {"mode", text_of_mode(file.mode)},
                     {"size", file.size},
                     {"sha256", file.sha256}});
  const Json json = {{"format", kFormat},
                     {"plugin",
                      {{"appname", manifest.row.appname},
                       {"appid", manifest.row.appid},
                       {"abilitybits", manifest.row.abilities},
                       {"uid", manifest.row.uid}}},
                     {"processor", manifest.processor},
                     {"program", manifest.program},
                     {"arguments", manifest.arguments},
                     {"files", files}};
  return json.dump(1) + "\n";
}

Manifest manifest_from(const std::string& text) {
  try {
    return read(Json::parse(text));
  } catch (const Json::exception& error) {
    refuse(std::string("is no manifest of a plug-in: ") + error.what());
  }
}

const char* fault_of_name(const std::string& name) {
  const auto printable = [](unsigned char c) { return c > ' ' - 1 && c < 0x7f && c != '\\'; };
  if (name.empty() || !std::all_of(name.begin(), name.end(), printable))
    return "is named with other than printable ASCII characters";
  if (name.size() > kLongestName) return "has a name of more than 200 bytes";
  if (name.front() == '/') return "is an absolute path";
  for (const auto& part : std::filesystem::path(name))
    if (part == "..") return "leads out of the plug-in's folder";
  // Also "a/./b" and "a//b": one file has one name.
  if (std::filesystem::path(name).lexically_normal() != name || name.back() == '/')
    return "is not a plain path of a file";
  if (name == kManifest || name.starts_with(kProgramFolder) || name.starts_with(kDataFolder)) return nullptr;
  return "is neither in bin nor in data";
}

}  // namespace routerbox::pack
