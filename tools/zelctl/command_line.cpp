#include "command_line.h"

#include <getopt.h>

#include <algorithm>
#include <cstring>

#include "text.h"

namespace zelctl {
namespace {

constexpr Option kCommon[] = {
    {"json", nullptr, "For scripts: one JSON document on standard output"},
    {"verbose", nullptr, "Shows the library's own log lines; -v for short"},
    {"as", "APPID", "Runs the command as that plug-in's user; for root"},
    {"help", nullptr, "What a command does, with an example; -h for short"},
    {"version", nullptr, "The version of zelctl"},
};

// What getopt_long gives for the option of that place in the list.
constexpr int kFirstOption = 256;

std::string help_command(const std::string& words) {
  return "Help: zelctl " + words + (words.empty() ? "" : " ") + "--help";
}

std::string meant(const std::string& word, const std::vector<std::string>& candidates) {
  const std::string near = nearest(word, candidates);
  return near.empty() ? "" : "; did you mean " + near + "?";
}

// What getopt_long works with.
class Options {
 public:
  explicit Options(std::span<const Option> own) {
    for (const auto& list : {std::span<const Option>(kCommon), own}) {
      for (const Option& option : list) {
        names_.push_back(std::string("--") + option.name);
        list_.push_back({option.name, option.value != nullptr ? required_argument : no_argument, nullptr,
                         kFirstOption + static_cast<int>(list_.size())});
      }
    }
    list_.push_back({});
  }
  const option* list() const { return list_.data(); }
  const option& of(int value) const { return list_[static_cast<size_t>(value - kFirstOption)]; }
  const std::vector<std::string>& names() const { return names_; }

 private:
  std::vector<std::string> names_;
  std::vector<option> list_;
};

// An option that is refused: unknown, without its value, or with one too many.
[[noreturn]] void refuse(const Options& options, const std::string& words, int result, char** argv) {
  const std::string given = argv[optind - 1];
  const std::string name = readable(given.substr(0, given.find('=')));
  const std::string advice = help_command(words);
  if (result == ':') throw Failure(kUsage, "the option " + name + " needs a value", advice);
  const bool is_long = given.starts_with("--");
  if (is_long && optopt != 0) throw Failure(kUsage, "the option " + name + " takes no value", advice);
  const std::string wrong = is_long ? name : format("-%c", optopt);
  throw Failure(kUsage, "there is no option " + wrong + (is_long ? meant(name, options.names()) : ""),
                advice);
}

void set_common(const char* name, CommandLine* line) {
  const auto is = [name](const char* other) { return std::strcmp(name, other) == 0; };
  line->manner.json = line->manner.json || is("json");
  line->manner.verbose = line->manner.verbose || is("verbose");
  line->help = line->help || is("help");
  line->version = line->version || is("version");
  if (is("as")) line->as = optarg;
}

void take_option(const Options& options, int result, CommandLine* line) {
  if (result == 'h') return set_common("help", line);
  if (result == 'v') return set_common("verbose", line);
  const option& taken = options.of(result);
  if (static_cast<size_t>(result - kFirstOption) < std::size(kCommon)) return set_common(taken.name, line);
  line->call.options.emplace_back(taken.name, optarg);
}

// Takes options as far as `form` lets getopt_long go, and gives the place of the first word that is none.
int take_options(const Options& options, const char* form, const std::string& words, int argc, char** argv,
                 CommandLine* line) {
  opterr = 0;
  optind = 0;  // begins anew
  for (int result; (result = getopt_long(argc, argv, form, options.list(), nullptr)) != -1;) {
    if (result == '?' || result == ':') refuse(options, words, result, argv);
    take_option(options, result, line);
  }
  return optind;
}

const Command* command_of(const std::string& words) {
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if (words == command.words) return &command;
    }
  }
  return nullptr;
}

std::string listed(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) list += (list.empty() ? "" : ", ") + word;
  return list;
}

[[noreturn]] void refuse_word(const std::string& words, const std::string& word) {
  const auto next = next_words(words);
  const std::string there = words.empty() ? "command" : words;
  throw Failure(kUsage,
                words.empty() ? "there is no command '" + readable(word) + "'" + meant(word, next)
                              : there + " has no command '" + readable(word) + "'" + meant(word, next),
                help_command(words));
}

void check_arguments(const Call& call) {
  const std::string words = call.command->words;
  for (const Option& option : call.command->options) {
    if (option.required && !call.has(option.name))
      throw Failure(kUsage, words + " needs --" + option.name + " " + option.value, help_command(words));
  }
  size_t least = 0;
  size_t most = 0;
  const auto names = words_of(call.command->arguments);
  for (const std::string& name : names) {
    if (name[0] != '[' && call.arguments.size() <= least)
      throw Failure(kUsage, words + " needs " + name, help_command(words));
    least += name[0] != '[' ? 1 : 0;
    most = name.find("...") != std::string::npos ? SIZE_MAX : most + 1;
  }
  if (call.arguments.size() > most)
    throw Failure(kUsage, words + " takes no '" + readable(call.arguments[most]) + "'", help_command(words));
}

// A command that is passed on keeps its own options.
bool passes_words_on(const Command& command) {
  return std::strstr(command.arguments, "COMMAND...") != nullptr;
}

}  // namespace

const char* Call::option(const char* name) const {
  const auto found =
      std::find_if(options.rbegin(), options.rend(), [name](const auto& o) { return o.first == name; });
  return found != options.rend() ? found->second : nullptr;
}

bool Call::has(const char* name) const {
  return std::any_of(options.begin(), options.end(), [name](const auto& o) { return o.first == name; });
}

std::span<const Option> common_options() {
  return kCommon;
}

uint64_t number_value(const char* name, const char* text, uint64_t least, uint64_t most) {
  uint64_t number = 0;
  if (number_from(text, &number) && number >= least && number <= most) return number;
  throw Failure(
      kUsage,
      format("%s is a number from %llu to %llu, not '%s'", name, static_cast<unsigned long long>(least),
             static_cast<unsigned long long>(most), readable(text).c_str()),
      "Give it in decimal digits.");
}

size_t choice_value(const char* name, const char* text, const char* choices) {
  std::string spaced = choices;
  std::replace(spaced.begin(), spaced.end(), '|', ' ');
  const auto words = words_of(spaced);
  const auto found = std::find(words.begin(), words.end(), text);
  if (found != words.end()) return static_cast<size_t>(found - words.begin());
  throw Failure(kUsage, std::string(name) + " is one of " + listed(words) + ", not '" + readable(text) + "'",
                "Name one of these.");
}

std::vector<std::string> next_words(const std::string& words) {
  std::vector<std::string> next;
  const std::string begin = words.empty() ? "" : words + " ";
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      const std::string_view all = command.words;
      if (!all.starts_with(begin) || all.size() <= begin.size()) continue;
      const std::string word(all.substr(begin.size(), all.substr(begin.size()).find(' ')));
      if (std::find(next.begin(), next.end(), word) == next.end()) next.push_back(word);
    }
  }
  return next;
}

CommandLine parse(int argc, char** argv) {
  CommandLine line;
  std::string words;
  while (line.call.command == nullptr) {
    const int at = take_options(Options({}), "+:hv", words, argc, argv, &line);
    line.help_about = words;
    if (at >= argc) {
      if (line.help || line.version || words.empty()) return line;
      throw Failure(kUsage, words + " needs a command: " + listed(next_words(words)), help_command(words));
    }
    const std::string longer = words.empty() ? argv[at] : words + " " + argv[at];
    line.call.command = command_of(longer);
    if (line.call.command == nullptr && next_words(longer).empty()) refuse_word(words, argv[at]);
    words = longer;
    argc -= at;
    argv += at;
  }
  const bool passes_on = passes_words_on(*line.call.command);
  const int at =
      take_options(Options(line.call.command->options), passes_on ? "+:hv" : ":hv", words, argc, argv, &line);
  line.call.arguments.assign(argv + at, argv + argc);
  line.help_about = words;
  if (line.help || line.version) return line;
  // "perm run 2001 -- ls -l", with or without the dashes.
  if (passes_on && line.call.arguments.size() > 1 && std::strcmp(line.call.arguments[1], "--") == 0)
    line.call.arguments.erase(line.call.arguments.begin() + 1);
  check_arguments(line.call);
  return line;
}

bool wants_json(int argc, char** argv) {
  return std::any_of(argv, argv + argc, [](const char* word) { return std::strcmp(word, "--json") == 0; });
}

}  // namespace zelctl
