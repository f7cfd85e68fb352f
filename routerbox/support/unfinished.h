// unfinished.h: a folder that is being made.
#pragma once
#include <filesystem>
#include <system_error>
#include <utility>

namespace routerbox {

// Removes the folder, with all in it, unless all went well.
class Unfinished {
 public:
  explicit Unfinished(std::filesystem::path folder) : folder_(std::move(folder)) {}
  ~Unfinished() {
    std::error_code ignored;
    if (!folder_.empty()) std::filesystem::remove_all(folder_, ignored);
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;
  void finish() { folder_.clear(); }

 private:
  std::filesystem::path folder_;
};

}  // namespace routerbox
