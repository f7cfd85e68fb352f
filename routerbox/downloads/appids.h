// appids.h: which plug-in each download is of.
#pragma once
#include <map>
#include <mutex>
#include <string>

namespace routerbox::downloads {

// Kept in a file that is whole at any moment, so that neither an end of this program nor one of the daemon
// loses what it remembers. Safe from any thread.
class Appids {
 public:
  // Reads the file; one that does not exist is made with the first entry. Throws Failure.
  explicit Appids(std::string file);

  // The entry is in the file when this returns; without an appid it takes the place of an earlier task's, whose
  // gid a client chose again. Throws Failure.
  void remember(const std::string& gid, const std::string& appid);
  // Empty when the download came without one.
  std::string of(const std::string& gid) const;

 private:
  const std::string file_;
  mutable std::mutex mutex_;
  std::map<std::string, std::string> appids_;  // by gid; guarded by mutex_, as is the file
};

}  // namespace routerbox::downloads
