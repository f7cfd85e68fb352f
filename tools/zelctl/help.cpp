#include "help.h"

#include <cstring>

#include "command_line.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr size_t kWidth = 110;

constexpr const char* kStatuses =
    "Exit status: 0 done (or: yes), 1 no, 2 wrong command line, 3 failed, 4 not permitted (root or an "
    "ability is\n"
    "missing), 5 a time limit passed or it was interrupted.\n"
    "With --json, standard output is one JSON document, or one for each thing that comes where a command "
    "goes\n"
    "on; a failure is {\"error\", \"code\", \"advice\"}.";

// Calls visit with each command that begins with the words.
template <class Visit>
void each_command(const std::string& words, Visit visit) {
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      const bool begins = std::strncmp(command.words, words.c_str(), words.size()) == 0;
      if (words.empty() || (begins && std::strchr(" ", command.words[words.size()]) != nullptr))
        visit(command);
    }
  }
}

void add_options(std::span<const Option> options, Result* result) {
  size_t indent = 0;
  for (const Option& option : options) {
    const size_t value = option.value != nullptr ? std::strlen(option.value) + 1 : 0;
    indent = std::max(indent, std::strlen(option.name) + value + 6);
  }
  for (const Option& option : options) {
    const bool valued = option.value != nullptr;
    const std::string name = format("--%s%s%s", option.name, valued ? " " : "", valued ? option.value : "");
    result->line("  %-*s%s", static_cast<int>(indent) - 2, name.c_str(),
                 wrap(option.help, kWidth - indent, indent).c_str());
  }
}

std::string usage_of(const Command& command) {
  std::string usage =
      format("%s%s%s", command.words, *command.arguments != '\0' ? " " : "", command.arguments);
  for (const Option& option : command.options) {
    const bool valued = option.value != nullptr;
    append(&usage, option.required ? " --%s%s%s" : " [--%s%s%s]", option.name, valued ? " " : "",
           valued ? option.value : "");
  }
  return usage;
}

void add_command_help(const Command& command, Result* result) {
  result->line("Usage: zelctl %s\n\n%s.%s\n\nExample:\n  %s", usage_of(command).c_str(),
               wrap(command.help, kWidth, 0).c_str(), command.root ? " Needs root." : "", command.example);
  if (!command.options.empty()) result->line("\nOptions:");
  add_options(command.options, result);
  result->line("\nThe options of every command: zelctl --help");
}

void add_family_help(const std::string& words, Result* result) {
  const char* example = "";
  each_command(words, [&](const Command& command) {
    if (*example == '\0') example = command.example;
  });
  result->line("Usage: zelctl %s COMMAND...\n\nExample:\n  %s\n\nCommands:", words.c_str(), example);
  each_command(words, [&](const Command& command) {
    result->row("  %s%s%s\t%.*s", command.words + words.size() + 1, *command.arguments != '\0' ? " " : "",
                command.arguments, sentence_length(command.help), command.help);
  });
  result->line("\nMore: zelctl %s COMMAND --help", words.c_str());
}

void add_whole_help(Result* result) {
  result->line(
      "Usage: zelctl [OPTION...] COMMAND...\n\n"
      "Looks at, asks, changes and mends what the router's plug-ins use.\n\nExample:\n  zelctl perm "
      "list\n\nCommands:");
  for (const Family* family : families()) result->row("  %s\t%s", family->word, family->help);
  result->line("\nOptions, for every command:");
  add_options(common_options(), result);
  result->line("\nMore: zelctl COMMAND --help\n%s", kStatuses);
}

void add_command_json(const Command& command, cJSON* json) {
  add_text(json, "words", command.words);
  add_text(json, "arguments", command.arguments);
  add_text(json, "help", command.help);
  add_text(json, "example", command.example);
  add_bool(json, "root", command.root);
  cJSON* const options = add_array(json, "options");
  for (const Option& option : command.options) {
    cJSON* const row = append_object(options);
    add_text(row, "name", option.name);
    if (option.value != nullptr) add_text(row, "value", option.value);
    add_text(row, "help", option.help);
    add_bool(row, "required", option.required);
  }
}

int help(const Call& call) {
  std::string words;
  for (const char* word : call.arguments) {
    std::string longer = joined(words, word);
    if (find_command(longer) == nullptr && next_words(longer).empty()) refuse_word(words.c_str(), word);
    words = std::move(longer);
  }
  tell_help(words);
  return kDone;
}

constexpr Command kHelp[] = {
    {"help", "[WORD...]", "What a command does. With --json the whole table of commands",
     "zelctl help perm insert", help},
};

}  // namespace

void tell_help(const std::string& words) {
  Result result;
  if (const Command* const command = find_command(words))
    add_command_help(*command, &result);
  else if (words.empty())
    add_whole_help(&result);
  else
    add_family_help(words, &result);
  cJSON* const commands = add_array(result.json(), "commands");
  each_command(words, [&](const Command& command) { add_command_json(command, append_object(commands)); });
  result.show();
}

constinit const Family kHelpFamily = {"help", "What a command does", kHelp};

}  // namespace zelctl
