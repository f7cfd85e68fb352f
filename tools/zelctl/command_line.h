// command_line.h: from words to a command.
#pragma once
#include <string>

#include "command.h"
#include "output.h"

namespace zelctl {

struct CommandLine {
  Call call;
  Manner manner;
  const char* as = nullptr;  // the appid of --as
  bool help = false;
  bool version = false;
  std::string help_about;  // the words so far, "perm", when there is no whole command
};

// Throws Failure.
CommandLine parse(int argc, char** argv);

// The words that may follow: of "router", "name", "dns" and so on; of the empty text the families' words.
std::vector<std::string> next_words(const std::string& words);

// Whether a document is wanted, also of a command line that cannot be understood.
bool wants_json(int argc, char** argv);

}  // namespace zelctl
