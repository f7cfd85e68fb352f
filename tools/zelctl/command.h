// command.h: the table of commands. Parsing, help and completion all come from it.
#pragma once
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace zelctl {

struct Option {
  const char* name;   // without "--"
  const char* value;  // what people call its value, or null for a flag
  const char* help;
  bool required = false;
};

struct Call;

struct Command {
  const char* words;  // "router dns get"
  const char*
      arguments;  // "APPID [TEXT]"; "..." behind the last takes all that follow, a "|" parts the choices
  const char* help;
  const char* example;  // ends by itself, on a router with the plug-ins of examples/packages.json
  int (*run)(const Call&);
  std::span<const Option> options = {};
  bool root = false;
};

// A command as it was given. Texts live as long as the process.
struct Call {
  struct Given {
    const char* name;
    const char* value;
  };
  const Command* command = nullptr;
  std::vector<const char*> arguments;
  std::vector<Given> options;

  // Null unless it was given; of a flag, "".
  const char* argument(size_t i) const { return i < arguments.size() ? arguments[i] : nullptr; }
  const char* option(const char* name) const;
  bool has(const char* name) const { return option(name) != nullptr; }
};

// Commands that begin with one word, and that word alone.
struct Family {
  const char* word;
  const char* help;
  std::span<const Command> commands;
};
std::span<const Family* const> families();

// For every command.
std::span<const Option> common_options();

// The command of exactly these words, or null.
const Command* find_command(std::string_view words);

// Values of options and arguments. All fail when the text is none, naming `name`.
uint64_t number_value(const char* name, const char* text, uint64_t least, uint64_t most);
// The choice's place; choices are parted by "|".
size_t choice_value(const char* name, const char* text, const char* choices);

}  // namespace zelctl
