#include "downloads.h"

#include <sys/stat.h>

#include <filesystem>

#include "programs.h"
#include "services.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

constexpr uint16_t kPort = 6800;
constexpr uint16_t kDaemonPort = 16800;

std::string find_aria2() {
  try {
    return find_program("aria2c");
  } catch (const Failure& failure) {
    throw Failure("--downloads needs aria2: " + std::string(failure.what()) +
                  ". Install the package aria2, or leave out --downloads");
  }
}

std::string line_of(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + quoted(word);
  return line;
}

// The process of the script becomes the server's, so the file holds the server's.
std::string start_script(const std::string& name, const std::vector<std::string>& words) {
  return "#!/bin/sh\n"
         "umask 022\n"
         "cd /\n"
         "unset http_proxy https_proxy ftp_proxy all_proxy no_proxy\n"
         "echo $$ >" +
         quoted(std::string(kDownloadsFolder) + "/" + name + ".pid") + "\nexec " + line_of(words) + "\n";
}

std::vector<std::string> daemon_words(const Downloads& downloads, const std::string& kept) {
  return {downloads.daemon, "--no-conf", "--enable-rpc", "--rpc-listen-port=" + std::to_string(kDaemonPort),
          "--enable-dht=false", "--disable-ipv6",
          // The session holds what is not finished, with the same gids; saved often, since a test may kill.
          "--input-file=" + kept + "/session", "--save-session=" + kept + "/session",
          "--save-session-interval=1", "--quiet", "--log-level=notice",
          "--log=" + std::string(kDownloadsFolder) + "/daemon.log"};
}

std::vector<std::string> front_words(const Downloads& downloads, const std::string& kept) {
  return {downloads.front,
          "--port",
          std::to_string(kPort),
          "--daemon-port",
          std::to_string(kDaemonPort),
          "--appids",
          kept + "/appids.json",
          "--log",
          std::string(kDownloadsFolder) + "/front.log"};
}

pid_t start(Processes& processes, const std::string& name, const std::vector<std::string>& words,
            const Service& service, uint16_t port) {
  const std::string script = std::string(kDownloadsFolder) + "/" + name;
  write_file(script, start_script(name, words), 0755);
  return start_service(processes, {script, {script}, {}, "downloads | "}, service,
                       [port] { return port_accepts(port); });
}

}  // namespace

Downloads find_downloads(const std::string& own_folder, const std::string& folder) {
  Downloads downloads{
      find_aria2(), find_own(own_folder, "boxaria", "the download daemon's front", "--downloads"), {}};
  if (folder.empty()) return downloads;
  if (!fs::is_directory(folder))
    throw Failure("--downloads takes a folder or nothing; " + folder + " is none");
  downloads.folder = fs::absolute(folder).lexically_normal();
  return downloads;
}

DownloadServers start_downloads(Processes& processes, const Downloads& downloads) {
  if (mkdir(kDownloadsFolder, 0755) != 0 || chmod(kDownloadsFolder, 0755) != 0)
    fail_errno(std::string("cannot make ") + kDownloadsFolder);
  const std::string kept = downloads.folder.empty() ? kDownloadsFolder : downloads.folder;
  const std::string session = kept + "/session";
  // The daemon insists on the file it is to read.
  if (!Descriptor(open(session.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)))
    fail_errno("cannot write " + session, "--downloads must name a folder that can be written");
  const std::string advice = std::string("look at ") + kDownloadsFolder + "/daemon.log";
  DownloadServers servers;
  servers.daemon = start(processes, "daemon", daemon_words(downloads, kept),
                         {"the download daemon", "port " + std::to_string(kDaemonPort), advice}, kDaemonPort);
  servers.front = start(
      processes, "front", front_words(downloads, kept),
      {"the download daemon's front", "port " + std::to_string(kPort), "mend its files in " + kept}, kPort);
  return servers;
}

}  // namespace routerbox
