#include "appids.h"

#include <cstdio>
#include <filesystem>

#include "../support/io.h"
#include "../support/json.h"

namespace routerbox::downloads {

Appids::Appids(std::string file) : file_(std::move(file)) {
  if (!std::filesystem::exists(file_)) return;
  try {
    Json::parse(read_file(file_)).get_to(appids_);
  } catch (const Json::exception& error) {
    throw Failure(file_ + " does not hold the downloads' appids: " + error.what());
  }
}

void Appids::remember(const std::string& gid, const std::string& appid) {
  const std::lock_guard lock(mutex_);
  appids_[gid] = appid;
  const std::string next = file_ + ".new";
  write_file(next, text_of(Json(appids_)) + "\n", 0644);
  if (std::rename(next.c_str(), file_.c_str()) != 0) fail_errno("cannot replace " + file_);
}

std::string Appids::of(const std::string& gid) const {
  const std::lock_guard lock(mutex_);
  const auto found = appids_.find(gid);
  return found != appids_.end() ? found->second : "";
}

}  // namespace routerbox::downloads
