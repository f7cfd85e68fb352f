// programs.h: finding programs, and telling why one cannot be executed.
#pragma once
#include <string>

namespace routerbox {

// The absolute path that executing `word` would use: through PATH, or `word` itself when it has a slash.
// Throws Failure with status 126 or 127.
std::string find_program(const std::string& word);

// The folder this program lies in.
std::string own_folder();

// Why the calling process, under its present ids, cannot execute `program` (errno `error`), and what to do.
std::string explain_exec(const std::string& program, int error);

}  // namespace routerbox
