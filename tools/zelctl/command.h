// command.h: the table of commands. Parsing, help and completion all come from it.
#pragma once
#include <span>
#include <string>
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
  const Command* command = nullptr;
  std::vector<const char*> arguments;
  std::vector<std::pair<std::string, const char*>> options;

  // Null unless it was given.
  const char* argument(size_t i) const { return i < arguments.size() ? arguments[i] : nullptr; }
  const char* option(const char* name) const;
  bool has(const char* name) const;
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

// Values of options and arguments. All throw Failure when the text is none, naming `name`.
uint64_t number_value(const char* name, const char* text, uint64_t least, uint64_t most);
// The choices are parted by "|".
size_t choice_value(const char* name, const char* text, const char* choices);

}  // namespace zelctl
