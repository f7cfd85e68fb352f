// run_folder.h: where the boxes of a user are found: a folder for each, with its control socket.
#pragma once
#include <string>
#include <vector>

#include "../support/io.h"

namespace routerbox {

inline constexpr const char* kControlSocket = "control.sock";

// A folder beside those of the boxes, held as long as the object lives; it goes with it. One whose holder was killed is
// removed by the next who looks at the folders.
class HeldFolder {
 public:
  // Not held where somebody else holds one of this name.
  explicit HeldFolder(const std::string& name);
  ~HeldFolder();
  HeldFolder(const HeldFolder&) = delete;
  HeldFolder& operator=(const HeldFolder&) = delete;

  explicit operator bool() const { return bool(lock_); }
  const std::string& path() const { return path_; }

 private:
  const std::string path_;
  Descriptor lock_;
};

// A box's name and folder.
class BoxPlace {
 public:
  // `project` is the folder of its box.toml, empty where it has none. Throws Failure for a name that cannot be one, or
  // that a running box has.
  BoxPlace(const std::string& name, const std::string& project);

  const std::string& name() const { return name_; }
  const std::string& folder() const { return folder_.path(); }
  // The control socket, which takes connections once it is listened at.
  Descriptor make_socket() const;
  // Removes what killed boxes have left beside it.
  void sweep_beside() const;

 private:
  const std::string name_;
  const HeldFolder folder_;
};

// The names of the boxes that run, sorted.
std::vector<std::string> running_boxes();
std::string socket_of(const std::string& name);
// The folder of a running box's project; empty where it has none.
std::string project_of(const std::string& name);

}  // namespace routerbox
