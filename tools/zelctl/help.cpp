#include "help.h"

#include <algorithm>
#include <cstring>

#include "command_line.h"
#include "output.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kStatuses =
    "Exit status: 0 done (or: yes), 1 no, 2 wrong command line, 3 failed, 4 not permitted (root or an "
    "ability is\n"
    "missing), 5 a time limit passed or it was interrupted.\n"
    "With --json, standard output is one JSON document; a failure is {\"error\", \"code\", \"advice\"}.\n";

const Command* find_command(const std::string& words) {
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if (words == command.words) return &command;
    }
  }
  return nullptr;
}

std::string option_text(const Option& option) {
  return std::string("--") + option.name + (option.value != nullptr ? std::string(" ") + option.value : "");
}

std::string options_text(std::span<const Option> options) {
  std::vector<std::vector<std::string>> rows;
  for (const Option& option : options) rows.push_back({"  " + option_text(option), option.help});
  size_t indent = 0;
  for (const auto& row : rows) indent = std::max(indent, row[0].size() + 2);
  for (auto& row : rows) row[1] = wrapped(row[1], 110 - indent, indent);
  return columns(rows);
}

std::string usage_of(std::span<const Option> options) {
  std::string usage;
  for (const Option& option : options)
    usage += option.required ? " " + option_text(option) : " [" + option_text(option) + "]";
  return usage;
}

std::string command_help(const Command& command) {
  const std::string arguments = *command.arguments != '\0' ? std::string(" ") + command.arguments : "";
  std::string text = std::string("Usage: zelctl ") + command.words + arguments + usage_of(command.options) +
                     "\n\n" + wrapped(command.help, 110, 0) + (command.root ? ". Needs root." : ".") +
                     "\n\nExample:\n  " + command.example + "\n";
  if (!command.options.empty()) text += "\nOptions:\n" + options_text(command.options);
  return text + "\nThe options of every command: zelctl --help\n";
}

// Up to its first full stop, for lists.
std::string first_sentence(const char* help) {
  const char* const end = std::strstr(help, ". ");
  return end != nullptr ? std::string(help, end) : help;
}

std::string family_help(const std::string& words) {
  std::vector<std::vector<std::string>> rows;
  std::string example;
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if (!std::string_view(command.words).starts_with(words + " ")) continue;
      if (example.empty()) example = command.example;
      const std::string arguments = *command.arguments != '\0' ? std::string(" ") + command.arguments : "";
      rows.push_back(
          {std::string("  ") + (command.words + words.size() + 1) + arguments, first_sentence(command.help)});
    }
  }
  return "Usage: zelctl " + words + " COMMAND...\n\nExample:\n  " + example + "\n\nCommands:\n" +
         columns(rows) + "\nMore: zelctl " + words + " COMMAND --help\n";
}

std::string whole_help() {
  std::vector<std::vector<std::string>> rows;
  for (const Family* family : families()) rows.push_back({std::string("  ") + family->word, family->help});
  return "Usage: zelctl [OPTION...] COMMAND...\n\n"
         "Looks at, asks, changes and mends what the router's plug-ins use.\n\nExample:\n  zelctl perm "
         "list\n\n"
         "Commands:\n" +
         columns(rows) + "\nOptions, for every command:\n" + options_text(common_options()) +
         "\nMore: zelctl COMMAND --help\n" + kStatuses;
}

JsonTree command_json(const Command& command) {
  JsonTree json = json_object();
  add(json.get(), "words", command.words);
  add(json.get(), "arguments", command.arguments);
  add(json.get(), "help", command.help);
  add(json.get(), "example", command.example);
  add_bool(json.get(), "root", command.root);
  cJSON* const options = add_array(json.get(), "options");
  for (const Option& option : command.options) {
    JsonTree row = json_object();
    add(row.get(), "name", option.name);
    if (option.value != nullptr) add(row.get(), "value", option.value);
    add(row.get(), "help", option.help);
    append(options, std::move(row));
  }
  return json;
}

// The commands that begin with the words, all the same.
JsonTree help_json(const std::string& words) {
  JsonTree json = json_object();
  cJSON* const commands = add_array(json.get(), "commands");
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if ((std::string(command.words) + " ").starts_with(words.empty() ? "" : words + " "))
        append(commands, command_json(command));
    }
  }
  return json;
}

int help(const Call& call) {
  std::string words;
  for (const char* word : call.arguments) words += (words.empty() ? "" : " ") + std::string(word);
  if (!words.empty() && find_command(words) == nullptr && next_words(words).empty())
    throw Failure(kUsage, "there is no command '" + readable(words) + "'", "All of them: zelctl help");
  tell_help(words);
  return kDone;
}

constexpr Command kHelp[] = {
    {"help", "[WORD...]", "What a command does. With --json the whole table of commands",
     "zelctl help perm insert", help},
};

}  // namespace

void tell_help(const std::string& words) {
  const Command* const command = find_command(words);
  tell(command != nullptr ? command_help(*command)
       : words.empty()    ? whole_help()
                          : family_help(words),
       help_json(words));
}

constinit const Family kHelpFamily = {"help", "What a command does", kHelp};

}  // namespace zelctl
