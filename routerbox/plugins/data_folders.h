// data_folders.h: what plug-ins have as /data.
#pragma once
#include <string>

#include "plugins.h"

namespace routerbox {

// Makes the folder where it is not there, with what is in it at first. Throws Failure.
void make_data(const PluginRun& plugin);
// What was handed over to the author becomes the plug-in's again. For a box that runs nothing yet.
void take_back(const PluginRun& plugin);

// After the box: what its plug-ins have left in `folder` under their own ids becomes the author's, to read and to
// remove. The group keeps whose it was.
void hand_over(const std::string& folder);

}  // namespace routerbox
