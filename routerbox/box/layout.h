// layout.h: what the box's programs see of the machine.
#pragma once
#include <functional>
#include <string>

#include "box.h"

namespace routerbox {

// Lays the box out: private folders, the router's files, accounts, the box's folder, loopback. `say` hears of folders
// that had to be opened for plug-ins. Throws Failure.
void lay_out(const Plan& plan, const std::string& box_folder,
             const std::function<void(const std::string&)>& say);

}  // namespace routerbox
