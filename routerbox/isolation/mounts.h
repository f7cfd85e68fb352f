// mounts.h: the box's own tree of files: what it shows of the machine cannot be changed, the rest is the box's.
#pragma once
#include <sys/types.h>

#include <string>
#include <vector>

namespace routerbox {

enum class Cover {
  kEmpty,   // nothing of the machine, except what is kept
  kMirror,  // every entry of the machine's folder, and room for additions
};

// One private folder. In both kinds new entries live in memory and vanish with the box.
struct PrivateFolder {
  std::string path;  // may be a symbolic link: the folder it leads to is covered
  Cover cover;
  mode_t mode;
  std::vector<std::string>
      own;  // a mirror's entries that the box writes itself, so the machine's are left out
};

struct Kept {
  std::string path;  // absolute
  bool writable = false;
  std::string at = {};  // where the box has it; empty: at the same path
};

// Gives the process, which is process 1 of a PID namespace, a tree of its own, cut off from the machine's: the private
// folders, what is kept of the machine at its own place, and all else as the machine has it, but read-only. With a
// /proc of the namespace. Throws Failure.
void enter_own_tree(const std::vector<PrivateFolder>& folders, const std::vector<Kept>& kept);

// Lets every user through to `folder`: one on the way that not everybody may enter becomes a mirror that all
// may pass. Returns those that were changed.
std::vector<std::string> open_way(const std::string& folder);

}  // namespace routerbox
