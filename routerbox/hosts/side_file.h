// side_file.h: how a file of an outside host is sent, where the file alone does not say it.
//
// Beside FOLDER/v1/now lies FOLDER/v1/now.reply.toml, which may have
//   status = 503
//   delay = "2s"
//   [headers]
//   Retry-After = "120"
// Either of the two may be missing: a side file alone is an answer without a body.
#pragma once
#include <chrono>
#include <string>
#include <utility>
#include <vector>

namespace routerbox::hosts {

inline constexpr const char* kSideFile = ".reply.toml";

struct SideFile {
  int status = 200;
  std::chrono::duration<double> delay{0};
  std::vector<std::pair<std::string, std::string>> headers;
};

// Throws Failure: FILE:LINE, what was found and what was expected.
SideFile read_side_file(const std::string& file);

}  // namespace routerbox::hosts
