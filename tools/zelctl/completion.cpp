// Completion for shells. Their scripts only ask zelctl, which knows the table of commands and the plug-ins.
#include <algorithm>
#include <cstring>

#include "command_line.h"
#include "help.h"
#include "output.h"
#include "perm_table.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr const char* kBash = R"sh(# In ~/.bashrc: eval "$(zelctl completion bash)"
_zelctl() {
  local IFS=$'\n' current=${COMP_WORDS[COMP_CWORD]}
  COMPREPLY=($("${COMP_WORDS[0]}" completion words -- "${COMP_WORDS[@]:1:COMP_CWORD}" 2>/dev/null | cut -f1))
  case ${COMPREPLY[0]} in
    @FILE) compopt -o filenames; COMPREPLY=($(compgen -f -- "$current")) ;;
    @DIR) compopt -o filenames; COMPREPLY=($(compgen -d -- "$current")) ;;
    @COMMAND) COMPREPLY=($(compgen -c -- "$current")) ;;
  esac
}
complete -F _zelctl zelctl
)sh";

constexpr const char* kZsh = R"sh(#compdef zelctl
# In ~/.zshrc, behind compinit: eval "$(zelctl completion zsh)"
_zelctl() {
  local -a found
  found=("${(@f)$("${words[1]}" completion words -- "${(@)words[2,CURRENT]}" 2>/dev/null |
    sed $'s/:/\\\\:/g; s/\t/:/')}")
  case $found[1] in
    @FILE) _files ;;
    @DIR) _files -/ ;;
    @COMMAND) _command_names -e ;;
    ?*) _describe -V zelctl found ;;
  esac
}
compdef _zelctl zelctl
)sh";

// What the words before the one to be completed amount to.
struct Place {
  std::string words;
  const Command* command = nullptr;
  size_t arguments = 0;
  const char* value = nullptr;  // of the option that waits for one
  bool options_end = false;
};

const Command* command_named(const std::string& words) {
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if (words == command.words) return &command;
    }
  }
  return nullptr;
}

template <class Visit>
void each_option(const Place& place, Visit visit) {
  for (const Option& option : common_options()) visit(option);
  if (place.command == nullptr) return;
  for (const Option& option : place.command->options) visit(option);
}

void pass_word(const std::string& word, Place* place) {
  if (place->value != nullptr) {
    place->value = nullptr;
  } else if (word == "--") {
    place->options_end = true;
  } else if (!place->options_end && word.starts_with("--")) {
    each_option(*place, [&](const Option& option) {
      if (word.substr(2) == option.name) place->value = option.value;
    });
  } else if (place->options_end || !word.starts_with("-")) {
    if (place->command != nullptr) {
      ++place->arguments;
      return;
    }
    place->words += (place->words.empty() ? "" : " ") + word;
    place->command = command_named(place->words);
  }
}

using Candidates = std::vector<std::pair<std::string, std::string>>;  // the word, what it is

Candidates choices(std::string kind) {
  std::replace(kind.begin(), kind.end(), '|', ' ');
  Candidates candidates;
  for (const std::string& word : words_of(kind)) candidates.emplace_back(word, "");
  return candidates;
}

// As people write it: "wan" of "ability_wan".
std::string short_name(const Ability& ability) {
  return readable(ability.name.starts_with("ability_") ? ability.name.substr(8) : ability.name);
}

Candidates values_of(std::string kind) {
  std::erase_if(kind, [](char c) { return c == '[' || c == ']' || c == '.'; });
  if (kind.find('|') != std::string::npos) return choices(kind);
  if (kind == "FILE" || kind == "DIR" || kind == "COMMAND") return {{"@" + kind, ""}};
  Candidates candidates;
  if (kind == "APPID") {
    for (const perm_plugin_info& plugin : read_table().plugins)
      candidates.emplace_back(readable(text_of(plugin.appid)), readable(text_of(plugin.appname)));
  } else if (kind == "ABILITY") {
    for (const Ability& ability : read_table().abilities)
      candidates.emplace_back(short_name(ability), format("ability %d", ability.number));
  }
  return candidates;
}

Candidates next_candidates(const std::string& words) {
  Candidates candidates;
  for (const std::string& word : next_words(words)) {
    std::string help;
    for (const Family* family : families()) {
      if (words.empty() && word == family->word) help = family->help;
    }
    if (const Command* const command = command_named(words.empty() ? word : words + " " + word))
      help = command->help;
    candidates.emplace_back(word, help);
  }
  return candidates;
}

Candidates candidates_at(const Place& place, const std::string& current) {
  if (place.value != nullptr) return values_of(place.value);
  if (!place.options_end && current.starts_with("-")) {
    Candidates candidates;
    each_option(place, [&](const Option& option) {
      candidates.emplace_back(std::string("--") + option.name, option.help);
    });
    return candidates;
  }
  if (place.command == nullptr) return next_candidates(place.words);
  const auto kinds = words_of(place.command->arguments);
  if (kinds.empty()) return {};
  if (place.arguments < kinds.size()) return values_of(kinds[place.arguments]);
  return kinds.back().find("...") != std::string::npos ? values_of(kinds.back()) : Candidates();
}

int complete(const Call& call) {
  Place place;
  for (size_t i = 0; i + 1 < call.arguments.size(); ++i) pass_word(call.arguments[i], &place);
  const std::string current = call.arguments.empty() ? "" : call.arguments.back();
  std::string text;
  const JsonTree json = json_object();
  cJSON* const words = add_array(json.get(), "words");
  for (const auto& [word, help] : candidates_at(place, current)) {
    if (!word.starts_with("@") && !word.starts_with(current)) continue;
    text += word + (help.empty() ? "" : "\t" + help) + "\n";
    append(words, word);
  }
  tell(text, json);
  return kDone;
}

int print_script(const char* script) {
  const JsonTree json = json_object();
  add(json.get(), "script", script);
  tell(script, json);
  return kDone;
}

constexpr Command kCommands[] = {
    {"completion bash", "", "The script for bash. In ~/.bashrc: eval \"$(zelctl completion bash)\"",
     "zelctl completion bash", [](const Call&) { return print_script(kBash); }},
    {"completion zsh", "",
     "The script for zsh. In ~/.zshrc, behind compinit: eval \"$(zelctl completion zsh)\"",
     "zelctl completion zsh", [](const Call&) { return print_script(kZsh); }},
    {"completion words", "[WORD...]",
     "What the last of the words can become, and what that is. The scripts ask this; @FILE, @DIR and "
     "@COMMAND stand "
     "for what the shell knows itself",
     "zelctl completion words -- perm sh", complete},
};

}  // namespace

constinit const Family kCompletionFamily = {"completion", "Scripts that complete words in bash and zsh",
                                            kCommands};

}  // namespace zelctl
