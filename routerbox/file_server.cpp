#include "file_server.h"

#include <filesystem>

#include "programs.h"
#include "services.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr uint16_t kPort = 8080;

}  // namespace

FileServer find_file_server(const std::string& own_folder, const std::string& folder) {
  FileServer server{find_own(own_folder, "boxfiles", "the box's file server", "--files"), {}};
  if (folder.empty()) return server;
  if (!fs::is_directory(folder)) throw Failure("--files takes a folder or nothing; " + folder + " is none");
  server.folder = fs::absolute(folder).lexically_normal();
  return server;
}

pid_t start_file_server(Processes& processes, const FileServer& server) {
  Launch launch{server.program, {"boxfiles"}, {}, "files | "};
  if (!server.folder.empty()) launch.words.insert(launch.words.end(), {"--folder", server.folder});
  return start_service(
      processes, launch,
      {"the box's file server", "port " + std::to_string(kPort), "give --files a folder that can be read"},
      [] { return port_accepts(kPort); });
}

}  // namespace routerbox
