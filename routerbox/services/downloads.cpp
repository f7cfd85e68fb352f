#include <filesystem>

#include "../support/places.h"
#include "../support/programs.h"
#include "service.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

struct Downloads {
  std::string daemon;  // aria2c
  std::string front;   // boxdownloads
  std::string folder;  // of the host, for what they keep; empty: they keep it in the box
};

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
  for (const std::string& word : words) line += (line.empty() ? "" : " ") + quote(word);
  return line;
}

// The process of the script becomes the server's, so the file holds the server's.
std::string start_script(const std::string& name, const std::vector<std::string>& words) {
  return "#!/bin/sh\n"
         "umask 022\n"
         "cd /\n"
         "unset http_proxy https_proxy ftp_proxy all_proxy no_proxy\n"
         "echo $$ >" +
         quote(std::string(kDownloadsFolder) + "/" + name + ".pid") + "\nexec " + line_of(words) + "\n";
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
          std::to_string(kDownloadsPort),
          "--daemon-port",
          std::to_string(kDaemonPort),
          "--appids",
          kept + "/appids.json",
          "--box",
          kBoxFolder,
          "--log",
          std::string(kDownloadsFolder) + "/front.log"};
}

// In the box the folder /var/run/downloads has for each of the two, `daemon` and `front`, a script of this name that
// starts it, NAME.pid with its process, and NAME.log. A test ends one by its process and starts it again by its
// script. Both run as root of the box: the daemon can write wherever a plug-in can, and what it writes is
// root's and readable by all.
Server server_of(const std::string& name, const std::vector<std::string>& words, const std::string& title,
                 uint16_t port, const std::string& advice, End end) {
  const std::string script = std::string(kDownloadsFolder) + "/" + name;
  write_file(script, start_script(name, words), 0755);
  return {title, port_place(port), [port] { return port_accepts(port); }, advice, {script, {script}}, end};
}

std::vector<Server> lay_out(const Downloads& downloads) {
  make_folder(kDownloadsFolder);
  const std::string kept = downloads.folder.empty() ? kDownloadsFolder : downloads.folder;
  const std::string session = kept + "/session";
  // The daemon insists on the file it is to read.
  if (!Descriptor(open(session.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644)))
    fail_errno("cannot write " + session, "--downloads must name a folder that can be written");
  return {server_of("daemon", daemon_words(downloads, kept), "the download daemon", kDaemonPort,
                    std::string("look at ") + kDownloadsFolder + "/daemon.log",
                    downloads.folder.empty() ? End::kAtOnce : End::kAny),
          server_of("front", front_words(downloads, kept), "the download daemon's front", kDownloadsPort,
                    "mend its files in " + kept, End::kClean)};
}

}  // namespace

std::optional<Service> find_downloads(const Options& options, const std::string& own_folder) {
  if (!options.downloads) return std::nullopt;
  Downloads downloads{
      find_aria2(), find_own(own_folder, "boxdownloads", "the download daemon's front", "--downloads"), {}};
  Service service{"downloads", {downloads.daemon, downloads.front}, {}};
  if (!options.downloads_folder.empty()) {
    if (!fs::is_directory(options.downloads_folder))
      throw Failure("--downloads takes a folder or nothing; " + options.downloads_folder + " is none");
    downloads.folder = fs::absolute(options.downloads_folder).lexically_normal();
    service.paths.push_back(downloads.folder);
  }
  service.lay_out = [downloads] { return lay_out(downloads); };
  return service;
}

}  // namespace routerbox
