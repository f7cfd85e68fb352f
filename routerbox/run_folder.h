// run_folder.h: where the boxes of a user are found: a folder for each, with its control socket.
#pragma once
#include <string>
#include <vector>

#include "io.h"

namespace routerbox {

inline constexpr const char* kControlSocket = "control.sock";

// A box's name and folder, held as long as the object lives; the folder goes with it.
class BoxPlace {
 public:
  // Throws Failure for a name that cannot be one, or that a running box has. What a box that was killed has left
  // is removed.
  explicit BoxPlace(const std::string& name);
  ~BoxPlace();
  BoxPlace(const BoxPlace&) = delete;
  BoxPlace& operator=(const BoxPlace&) = delete;

  const std::string& name() const { return name_; }
  const std::string& folder() const { return folder_; }
  // The control socket, which takes connections once it is listened at.
  Descriptor make_socket() const;

 private:
  std::string name_, folder_;
  Descriptor lock_;
};

// The names of the boxes that run, sorted.
std::vector<std::string> running_boxes();
std::string socket_of(const std::string& name);

}  // namespace routerbox
