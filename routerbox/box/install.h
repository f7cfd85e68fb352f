// install.h: puts a packed plug-in into the running box, as the router's package manager would.
#pragma once
#include <functional>
#include <string>

#include "../pack/manifest.h"
#include "../support/json.h"
#include "box.h"

namespace routerbox {

inline constexpr const char* kInstalled = "/opt";  // of the box: a folder for each

class Installer {
 public:
  struct Ways {
    const Plan& plan;
    Processes& processes;
    Plugins& plugins;
    std::function<void(size_t place)> start_plugin;  // and waits until it is served
  };
  explicit Installer(const Ways& ways) : ways_(ways) {}

  // `file`: an archive of `routerbox pack`, as the box sees it. Its files go to /opt/NAME, its row into the package
  // file and the permission table, and it is started; one of the same name and appid that is there is replaced, and
  // keeps its data. Throws Failure; unless it says that it is installed, all is as it was. One
  // at a time.
  // {"plugin", "appid", "uid", "abilities", "processor", "files", "bytes", "folder", "replaced", "table"}
  Json install(const std::string& file);

 private:
  pack::Manifest unpack(const std::string& file) const;
  void check_identity(const Package& row) const;
  void register_row(const Package& row) const;
  PluginRun run_of(const pack::Manifest& manifest) const;
  void start(const PluginRun& run) const;
  void put_in_place(PluginRun* run) const;

  const Ways ways_;
};

}  // namespace routerbox
