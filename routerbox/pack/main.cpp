// main.cpp: boxpack, which makes archives of plug-ins and reads them. A program of its own, so that a hostile archive
// meets no more than this, and the box starts without the libraries that it needs.
#include <CLI/CLI.hpp>
#include <filesystem>
#include <iostream>

#include "../processes/foreign.h"
#include "../project/project.h"
#include "../support/io.h"
#include "../support/json.h"
#include "../support/nearest.h"
#include "../support/printable.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "readable.h"
#include "unpack.h"
#include "write.h"

namespace routerbox::pack {
namespace {

namespace fs = std::filesystem;

struct Wish {
  std::string plugin, target, output;
  bool json = false;
};

const ProjectPlugin& plugin_of(const Project& project, const std::string& name) {
  std::vector<std::string> names;
  const ProjectPlugin* only = nullptr;
  for (const ProjectPlugin& plugin : project.plugins) {
    if (plugin.run.empty()) continue;
    if (plugin.name == name || plugin.appid == name) return plugin;
    names.push_back(plugin.name);
    only = &plugin;
  }
  if (!name.empty())
    throw Failure("box.toml has no plug-in '" + name + "' to pack" + advice_for(name, names), kNo);
  if (names.size() != 1)
    throw Failure("name the plug-in to pack: routerbox pack PLUGIN; there is " + list_words(names),
                  kWrongCommandLine);
  return *only;
}

std::string program_of(const Project& project, const ProjectPlugin& plugin, const std::string& target) {
  const std::string& word = plugin.run.front();
  if (word.find('/') == std::string::npos)
    throw Failure(plugin.run_place + ": " + plugin.name + " runs " + word +
                      ", a program of the machine; only one of the project's own can be packed",
                  kNo);
  const Target built = target.empty() ? Target{{}, project.build, {}} : target_of(project, target);
  const std::string path =
      (fs::path(project.folder) / built_program(project, built.build, word)).lexically_normal();
  const std::string advice = target.empty() ? "; is it built?" : "; to build it, run: " + built.make;
  if (!fs::is_regular_file(path))
    throw Failure(plugin.run_place + ": there is no program " + path + advice, kNo);
  const std::string processor = processor_of(path);
  if (!target.empty() && processor != target && processor != kAnyProcessor)
    throw Failure(path + " is for " + processor + ", not for " + target + advice, kNo);
  return path;
}

std::vector<Source> sources_of(const ProjectPlugin& plugin, const std::string& program) {
  std::vector<Source> sources{{kProgramFolder + fs::path(program).filename().string(), program, 0755}};
  if (plugin.data.empty()) return sources;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(plugin.data)) {
    if (entry.is_directory() && !entry.is_symlink()) continue;
    if (entry.is_symlink() || !entry.is_regular_file())
      throw Failure(entry.path().string() + " is no plain file, and only such can be packed", kNo);
    const bool executable = (entry.status().permissions() & fs::perms::owner_exec) != fs::perms::none;
    sources.push_back({kDataFolder + entry.path().lexically_relative(plugin.data).string(), entry.path(),
                       executable ? mode_t{0755} : mode_t{0644}});
  }
  return sources;
}

Json result_of(const Manifest& manifest, const std::string& file) {
  uint64_t bytes = 0;
  for (const PackedFile& packed : manifest.files) bytes += packed.size;
  return {{"file", file},
          {"size", fs::file_size(file)},
          {"plugin", manifest.row.appname},
          {"appid", manifest.row.appid},
          {"uid", manifest.row.uid},
          {"abilities", abilities_of(manifest.row.abilities)},
          {"processor", manifest.processor},
          {"files", manifest.files.size()},
          {"bytes", bytes}};
}

int make_archive(const Wish& wish) {
  if (!fs::exists("box.toml")) throw Failure("there is no box.toml here, which says what to pack", kNo);
  const Project project = read_project("box.toml");
  const ProjectPlugin& plugin = plugin_of(project, wish.plugin);
  const std::string program = program_of(project, plugin, wish.target);
  const std::vector<Source> sources = sources_of(plugin, program);
  Manifest manifest{{plugin.name, plugin.appid, plugin.uid, plugin.abilities},
                    processor_of(program),
                    sources.front().name,
                    {plugin.run.begin() + 1, plugin.run.end()},
                    {}};
  const std::string file =
      wish.output.empty() ? plugin.name + "-" + manifest.processor + ".tar.gz" : wish.output;
  write_archive(file, sources, &manifest);
  const Json result = result_of(manifest, file);
  std::cout << (wish.json ? routerbox::text_of(result) + "\n"
                          : result.at("file").get<std::string>() + ": " + readable(result))
            << std::flush;
  return kDone;
}

int pack(int argc, char** argv) {
  Wish wish;
  CLI::App app("Packs a plug-in of ./box.toml: its program, its data and its row of the package file.",
               "routerbox pack");
  app.add_option("plugin", wish.plugin);
  app.add_option("--target", wish.target);
  app.add_option("--output", wish.output);
  app.add_flag("--json", wish.json);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    throw Failure(std::string(error.what()) + "; routerbox pack --help shows how it is used",
                  kWrongCommandLine);
  }
  return make_archive(wish);
}

// The manifest goes to standard output.
int unpack_archive(int argc, char** argv) {
  if (argc != 3) throw Failure("usage: boxpack unpack ARCHIVE FOLDER", kWrongCommandLine);
  std::cout << text_of(unpack(argv[1], argv[2])) << std::flush;
  return kDone;
}

int run(int argc, char** argv) {
  const std::string word = argc > 1 ? argv[1] : "";
  if (word == "pack") return pack(argc - 1, argv + 1);
  if (word == "unpack") return unpack_archive(argc - 1, argv + 1);
  throw Failure("usage: boxpack pack [PLUGIN] [--target T] [--output FILE] [--json] | unpack ARCHIVE FOLDER",
                kWrongCommandLine);
}

}  // namespace
}  // namespace routerbox::pack

int main(int argc, char** argv) {
  try {
    return routerbox::pack::run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << "routerbox: " + routerbox::printable(error.what(), routerbox::kLines) + "\n" << std::flush;
    const auto* const failure = dynamic_cast<const routerbox::Failure*>(&error);
    return failure != nullptr && failure->status() < routerbox::kBoxFailed ? failure->status()
                                                                           : routerbox::kFailed;
  }
}
