// Completion for shells. Their scripts only ask zelctl, which knows the table of commands and the plug-ins.
#include <cstring>

#include "abilities.h"
#include "command_line.h"
#include "download_tasks.h"
#include "ending.h"
#include "help.h"
#include "result.h"
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
  std::string argument_words;
  const char* value = nullptr;  // of the option that waits for one
  bool options_end = false;
};

template <class Visit>
void each_option(const Place& place, Visit visit) {
  for (const Option& option : common_options()) visit(option);
  if (place.command == nullptr) return;
  for (const Option& option : place.command->options) visit(option);
}

void pass_word(const char* word, Place* place) {
  const bool is_option = !place->options_end && word[0] == '-';
  if (place->value != nullptr) {
    place->value = nullptr;
  } else if (std::strcmp(word, "--") == 0) {
    place->options_end = true;
  } else if (is_option) {
    each_option(*place, [&](const Option& option) {
      if (std::strncmp(word, "--", 2) == 0 && std::strcmp(word + 2, option.name) == 0)
        place->value = option.value;
    });
  } else if (place->command != nullptr) {
    ++place->arguments;
    place->argument_words = joined(place->argument_words, word);
  } else {
    place->words = joined(place->words, word);
    place->command = find_command(place->words);
  }
}

// Takes what can stand there, and keeps what begins as the word does.
class Candidates {
 public:
  explicit Candidates(const char* begin) : begin_(begin), words_(add_array(result_.json(), "words")) {}
  void offer(const char* word, const char* help) {
    if (word[0] != '@' && std::strncmp(word, begin_, std::strlen(begin_)) != 0) return;
    result_.line("%s%s%.*s", word, *help != '\0' ? "\t" : "", sentence_length(help), help);
    append_text(words_, word);
  }
  void show() { result_.show(); }

 private:
  const char* begin_;
  Result result_;
  cJSON* words_;
};

constexpr unsigned kTaskSeconds = 2;

void offer_tasks(Candidates* candidates) {
  const Limit limit(kTaskSeconds, "zelctl doctor", "the download daemon is silent");
  for (const task_info& task : query_all().tasks) candidates->offer(task.task_id, state_of(task));
}

void offer_words(const std::string& words, Candidates* candidates) {
  for (const std::string& word : next_words(words)) {
    const char* help = "";
    for (const Family* family : families()) {
      if (words.empty() && word == family->word) help = family->help;
    }
    const Command* const command = find_command(joined(words, word.c_str()));
    candidates->offer(word.c_str(), command != nullptr ? command->help : help);
  }
}

void offer_values(const char* argument, const Place& place, Candidates* candidates) {
  argument += std::strspn(argument, "[");
  const std::string kind(argument, std::strcspn(argument, "]."));
  if (std::strchr(kind.c_str(), '|') != nullptr) {
    for (const std::string& word : words_of(kind, '|')) candidates->offer(word.c_str(), "");
  } else if (kind == "WORD") {
    offer_words(place.argument_words, candidates);
  } else if (kind == "FILE" || kind == "DIR" || kind == "COMMAND") {
    candidates->offer(format("@%s", kind.c_str()).c_str(), "");
  } else if (kind == "APPID") {
    each_plugin(*read_table(), [&](const perm_plugin_slot& plugin) {
      candidates->offer(text_of(plugin.appid).c_str(), text_of(plugin.appname).c_str());
    });
  } else if (kind == "ID") {
    offer_tasks(candidates);
  } else if (kind == "ABILITY") {
    each_ability(*read_table(), [&](const perm_ability_info& ability) {
      candidates->offer(short_name(text_of(ability.permname)), format("ability %d", ability.permid).c_str());
    });
  }
}

void offer_all(const Place& place, const char* current, Candidates* candidates) {
  if (place.value != nullptr) return offer_values(place.value, place, candidates);
  if (!place.options_end && current[0] == '-') {
    each_option(place, [&](const Option& option) {
      candidates->offer(format("--%s", option.name).c_str(), option.help);
    });
    return;
  }
  if (place.command == nullptr) return offer_words(place.words, candidates);
  const auto kinds = words_of(place.command->arguments);
  if (place.arguments < kinds.size())
    offer_values(kinds[place.arguments].c_str(), place, candidates);
  else if (!kinds.empty() && std::strstr(kinds.back().c_str(), "...") != nullptr)
    offer_values(kinds.back().c_str(), place, candidates);
}

int complete(const Call& call) {
  Place place;
  for (size_t i = 0; i + 1 < call.arguments.size(); ++i) pass_word(call.arguments[i], &place);
  const char* const current = call.arguments.empty() ? "" : call.arguments.back();
  Candidates candidates(current);
  offer_all(place, current, &candidates);
  candidates.show();
  return kDone;
}

int print_script(const char* script) {
  Result result;
  add_text(result.json(), "script", script);
  result.line("%s", script);
  result.show();
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
     "@COMMAND stand for what the shell knows itself",
     "zelctl completion words -- perm sh", complete},
};

}  // namespace

constinit const Family kCompletionFamily = {"completion", "Scripts that complete words in bash and zsh",
                                            kCommands};

}  // namespace zelctl
