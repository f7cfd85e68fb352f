// disk.h: small disks and files on them, for tests that are root in a box.
#pragma once

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <fstream>
#include <iterator>
#include <string>

// Mounts an empty file system at a new folder.
inline void mount_disk(const std::string& folder, const char* options, const char* device = "disk") {
  mkdir(folder.c_str(), 0755);
  ASSERT_EQ(mount(device, folder.c_str(), "tmpfs", 0, options), 0);
}

inline void put(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

inline void put_script(const std::string& path, const std::string& lines) {
  put(path, "#!/bin/sh\n" + lines);
  chmod(path.c_str(), 0755);
}

inline std::string content_of(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}
