// unpack.h: reading an archive that anybody may have made.
#pragma once
#include <string>

#include "manifest.h"

namespace routerbox::pack {

// Puts the archive's files into `folder`, which is made, with the manifest's modes and root's; what is in data/ is the
// plug-in's, and nobody else may enter it. Throws Failure, and leaves no folder then: for what is no plain file, leads
// out of the folder, is too large or there twice, and for a manifest that says anything else than what is there.
Manifest unpack(const std::string& file, const std::string& folder);

}  // namespace routerbox::pack
