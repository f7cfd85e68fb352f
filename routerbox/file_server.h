// file_server.h: the box's server for downloads (files/).
#pragma once
#include <string>

#include "processes.h"

namespace routerbox {

struct FileServer {
  std::string program;  // boxfiles, absolute path; empty: the box has no file server
  std::string folder;   // absolute path; empty: only generated content
};

// Looks up on the host what the box needs; the folder may be empty. Throws Failure.
FileServer find_file_server(const std::string& own_folder, const std::string& folder);

// Starts it and returns when its port takes connections; throws Failure when it does not.
pid_t start_file_server(Processes& processes, const FileServer& server);

}  // namespace routerbox
