// mounts.h: folders of the host that are the box's own inside.
#pragma once
#include <sys/types.h>

#include <string>
#include <vector>

namespace routerbox {

enum class Cover {
  kEmpty,   // nothing of the host, except what is kept
  kMirror,  // every entry of the host's folder, and room for additions
};

// One private folder. In both kinds new entries live in memory and vanish with the box.
struct PrivateFolder {
  std::string path;  // may be a symbolic link: the folder it leads to is covered
  Cover cover;
  mode_t mode;
  std::vector<std::string> own;  // entries the box writes itself, so the host's are left out
};

// Gives the process mounts of its own, cut off from the host's, with a /proc of the box's PID namespace.
void isolate_mounts();

// `keep`: absolute paths of the host; the entry of an empty folder that holds one of them stays visible.
void make_private(const PrivateFolder& folder, const std::vector<std::string>& keep);

// Lets every user through to `folder`: one on the way that not everybody may enter becomes a mirror that all
// may pass. Returns those that were changed.
std::vector<std::string> open_way(const std::string& folder);

}  // namespace routerbox
