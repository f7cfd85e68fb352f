#include <filesystem>

#include "../support/places.h"
#include "../support/programs.h"
#include "service.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

Server server_of(const std::string& program, const std::string& folder) {
  Launch launch{program, {"boxfiles", "--box", kBoxFolder}};
  if (!folder.empty()) launch.words.insert(launch.words.end(), {"--folder", folder});
  return {"the box's file server", port_place(kFilesPort), [] { return port_accepts(kFilesPort); },
          "give --files a folder that can be read", launch};
}

}  // namespace

std::optional<Service> find_files(const Options& options, const std::string& own_folder) {
  if (!options.files) return std::nullopt;
  const std::string program = find_own(own_folder, "boxfiles", "the box's file server", "--files");
  if (options.files_folder.empty())
    return Service{"files", {program}, [=] { return std::vector<Server>{server_of(program, {})}; }};
  if (!fs::is_directory(options.files_folder))
    throw Failure("--files takes a folder or nothing; " + options.files_folder + " is none");
  const std::string folder = fs::absolute(options.files_folder).lexically_normal();
  return Service{"files", {program, folder}, [=] { return std::vector<Server>{server_of(program, folder)}; }};
}

}  // namespace routerbox
