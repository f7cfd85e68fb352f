// programs.h: finding programs, and telling why one cannot be executed.
#pragma once
#include <string>
#include <vector>

namespace routerbox {

// The absolute path that executing `word` would use: through PATH, or `word` itself when it has a slash.
// Throws Failure with status 126 or 127.
std::string find_program(const std::string& word);

// The absolute path of one of the box's own servers, which lies beside routerbox. `what` and `option` are for
// the message. Throws Failure.
std::string find_own(const std::string& folder, const std::string& program, const std::string& what,
                     const std::string& option);

// The folder this program lies in.
std::string own_folder();

// The text as one word of a shell line.
std::string quote(const std::string& text);

// `words` in the form execv takes; points into them.
std::vector<char*> exec_arguments(std::vector<std::string>& words);

// Why the calling process, under its present ids, cannot execute `program` (errno `error`), and what to do.
std::string explain_exec(const std::string& program, int error);

}  // namespace routerbox
