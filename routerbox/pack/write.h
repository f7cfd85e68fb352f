// write.h: making an archive.
#pragma once
#include <string>
#include <vector>

#include "manifest.h"

namespace routerbox::pack {

// A file of the project and its place in the archive.
struct Source {
  std::string name, path;
  mode_t mode = 0;
};

// Writes the archive, and fills in the files of the manifest. The same files give the same bytes, whoever packs them
// and when: sorted names, no owner, no times. Throws Failure, and leaves no file then.
void write_archive(const std::string& file, std::vector<Source> sources, Manifest* manifest);

}  // namespace routerbox::pack
