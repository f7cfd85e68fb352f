// project.h: what a project's box.toml says.
//
//   [box]
//   router = "state.json"         # true: the built-in state
//   downloads = true              # "DIR" keeps the tasks
//   files = "fixtures"            # true: generated content only
//   build = "build"               # where the plug-ins are built; "build" unless given
//   [target.mipsel]               # for --target mipsel; may be left out
//   build = "build-mipsel"        # holds what `build` holds, for the target; `build` with "-mipsel" unless given
//   make = "make mipsel"          # the command that fills it
//   [hosts]
//   "api.weather.example" = "fixtures/api"
//   [[plugin]]
//   name = "weather"              # letters, digits, - and _
//   appid = "3001"
//   uid = 10001                   # 10000 + its place in the file, counted from 1, unless given
//   run = "./build/weather /data" # or stub = "answers.toml"
//   abilities = ["download", "ability_wan", 5]
//   data = "share"                # what its own folder, /data, has at first
//   ends = true                   # by itself, with status 0, when it is done; false unless given
// All else is an error. Paths are relative to the file.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "stub_file.h"

namespace routerbox {

// A server of the box, and the file or folder of the host it works with.
struct Wish {
  bool wanted = false;
  std::string path;  // absolute; empty: what is built in
};

struct OutsideHost {
  std::string name;    // as it is looked up
  std::string folder;  // absolute
};

// What is wrong with a name for a plug-in, as it follows the name in a sentence; null when nothing is.
const char* fault_of_plugin_name(const std::string& name);

// A name in a Host header and in a certificate; not one of the box's own.
bool is_host_name(const std::string& name);
inline constexpr const char* kNoHostName =
    "is no host name: letters a to z, digits, - and . are allowed, such as api.weather.example";

struct ProjectPlugin {
  std::string name, appid;
  uid_t uid = 0;
  std::vector<std::string> run;  // program and arguments; empty: it is a stub
  std::string stub;              // absolute path of what it plays (stub_file.h); empty: it is a program
  uint32_t abilities = 0;        // bit n - 1 for ability n
  std::string data;              // absolute; empty: its folder is empty at first
  bool ends = false;             // by itself, with status 0, when it is done
  std::string place;             // FILE:LINE, to begin a message about it
  std::string run_place;         // the same of its `run`
};

struct Target {
  std::string name, build, make;  // as in the file; `build` absolute
};

struct Project {
  std::string folder;  // absolute, where box.toml lies
  std::string build;   // absolute
  std::vector<Target> targets;
  Wish router, downloads, files;
  std::vector<OutsideHost> hosts;
  std::vector<ProjectPlugin> plugins;
};

// The plug-ins that a stub of the box can send to.
std::vector<StubPeer> peers_among(const std::vector<ProjectPlugin>& plugins);

// Throws Failure: FILE:LINE, what was found, what was expected and, for a word that is near a known one, that
// one. What it returns can be used as it is, except that the programs may be missing: they are built later.
Project read_project(const std::string& file);

// The target of this name; one that the file leaves out has the folder and command that such projects have.
Target target_of(const Project& project, const std::string& name);

// Where a program of `run` lies when what is built lies in the folder `build`, absolute; as it stands where it is not
// built but found.
std::string built_program(const Project& project, const std::string& build, const std::string& program);

// The names of these abilities, bit n - 1 for ability n.
std::vector<std::string> abilities_of(uint32_t bits);

// The text of the router's package file for these plug-ins.
std::string package_file_of(const Project& project);

}  // namespace routerbox
