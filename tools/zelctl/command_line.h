// command_line.h: from words to a command.
#pragma once
#include <string>
#include <string_view>
#include <vector>

#include "command.h"
#include "output.h"

namespace zelctl {

struct CommandLine {
  Call call;                 // without a command when help or the version is wanted, or nothing
  const char* as = nullptr;  // the appid of --as
  Manner manner;
  bool help = false;
  bool version = false;
  std::string words;  // those of the command, "perm", say, when only half of one was given
};

// Fails if the words are no command line.
CommandLine parse(int argc, char** argv);

// Fails because the word cannot follow those, and names the nearest that can.
[[noreturn]] void refuse_word(const char* words, const char* word);

// The words that may follow: of "router", "name", "dns" and so on; of the empty text the families' words.
std::vector<std::string> next_words(std::string_view words);

// Whether one of the words is --json: how failures are wanted of a command line that cannot be understood.
bool mentions_json(int argc, char** argv);

}  // namespace zelctl
