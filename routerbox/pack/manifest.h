// manifest.h: what a packed plug-in says of itself. An archive (tar, gzip) holds
//
//   bin/PROGRAM
//   data/...        what its own folder has at first; may be missing
//   manifest.json   {"format": 1,
//                    "plugin": its row of the router's package file,
//                    "processor": "mipsel", as qemu names it; "any" for a script
//                    "program": "bin/PROGRAM", "arguments": [TEXT...],
//                    "files": [{"name", "mode": "0755" or "0644", "size", "sha256"}...], all but the manifest}
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "../plugins/packages.h"

namespace routerbox::pack {

inline constexpr const char* kManifest = "manifest.json";
inline constexpr const char* kProgramFolder = "bin/";
inline constexpr const char* kDataFolder = "data/";

// What a router has room for; more is a mistake, or meant to harm.
inline constexpr uint64_t kMostBytes = uint64_t{64} << 20;
inline constexpr uint64_t kLongestManifest = uint64_t{1} << 20;
inline constexpr size_t kMostFiles = 1000;

struct PackedFile {
  std::string name;
  mode_t mode = 0;
  uint64_t size = 0;
  std::string sha256;  // hexadecimal
};

struct Manifest {
  Package row;
  std::string processor, program;
  std::vector<std::string> arguments;
  std::vector<PackedFile> files;
};

std::string text_of(const Manifest& manifest);

// Throws Failure for what is no manifest, or none of a plug-in that can be.
Manifest manifest_from(const std::string& text);

// Why a file of an archive cannot have this name, as it follows the name in a sentence; null when it can.
const char* fault_of_name(const std::string& name);

}  // namespace routerbox::pack
