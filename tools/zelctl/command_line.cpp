#include "command_line.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <cstring>

#include "failure.h"
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

// What getopt_long works with.
class Options {
 public:
  explicit Options(std::span<const Option> own) {
    for (const Option& option : kCommon) add(option);
    for (const Option& option : own) add(option);
  }
  const option* list() const { return list_.data(); }
  const option& of(int value) const { return list_[static_cast<size_t>(value - kFirstOption)]; }

 private:
  void add(const Option& option) {
    list_[count_] = {option.name, option.value != nullptr ? required_argument : no_argument, nullptr,
                     kFirstOption + static_cast<int>(count_)};
    ++count_;
  }

  std::array<option, 24> list_{};  // ends with an empty one
  size_t count_ = 0;
};

// An option that is refused: unknown, without its value, or with one too many.
[[noreturn]] void refuse(const Options& options, const char* words, int result, const char* given) {
  const int length = static_cast<int>(std::strcspn(given, "="));
  if (result == ':') fail_usage(words, "the option %.*s needs a value", length, given);
  if (std::strncmp(given, "--", 2) != 0) fail_usage(words, "there is no option -%c", optopt);
  if (optopt != 0) fail_usage(words, "the option %.*s takes no value", length, given);
  Nearest nearest({given + 2, static_cast<size_t>(length - 2)});
  for (const option* row = options.list(); row->name != nullptr; ++row) nearest.offer(row->name);
  if (nearest.found().empty()) fail_usage(words, "there is no option %.*s", length, given);
  fail_usage(words, "there is no option %.*s; did you mean --%s?", length, given, nearest.found().data());
}

void set_common(const char* name, CommandLine* line) {
  const auto is = [name](const char* other) { return std::strcmp(name, other) == 0; };
  line->help = line->help || is("help");
  line->version = line->version || is("version");
  if (is("json")) want_json(line->manner.json = true);
  line->manner.verbose = line->manner.verbose || is("verbose");
  if (is("as")) line->as = optarg;
}

void take_option(const Options& options, int result, CommandLine* line) {
  if (result == 'h') return set_common("help", line);
  if (result == 'v') return set_common("verbose", line);
  const option& taken = options.of(result);
  if (static_cast<size_t>(result - kFirstOption) < std::size(kCommon)) return set_common(taken.name, line);
  line->call.options.push_back({taken.name, optarg != nullptr ? optarg : ""});
}

// Takes options as far as `form` lets getopt_long go, and gives the place of the first word that is none.
int take_options(const Options& options, const char* form, int argc, char** argv, CommandLine* line) {
  opterr = 0;
  optind = 0;  // begins anew
  for (int result; (result = getopt_long(argc, argv, form, options.list(), nullptr)) != -1;) {
    if (result == '?' || result == ':') refuse(options, line->words.c_str(), result, argv[optind - 1]);
    take_option(options, result, line);
  }
  return optind;
}

std::string list_words(const std::vector<std::string>& words) {
  std::string list;
  for (const std::string& word : words) append(&list, "%s%s", list.empty() ? "" : ", ", word.c_str());
  return list;
}

void check_arguments(const Call& call) {
  const char* const words = call.command->words;
  for (const Option& option : call.command->options) {
    if (option.required && !call.has(option.name))
      fail_usage(words, "%s needs --%s %s", words, option.name, option.value);
  }
  size_t place = 0;
  for (const std::string& name : words_of(call.command->arguments)) {
    if (name[0] != '[' && call.arguments.size() <= place)
      fail_usage(words, "%s needs %s", words, name.c_str());
    if (std::strstr(name.c_str(), "...") != nullptr) return;
    // Only what is sent may be.
    if (place < call.arguments.size() && *call.arguments[place] == '\0' &&
        name.find("TEXT") == std::string::npos)
      fail_usage(words, "%s: %s is empty", words, name.c_str());
    ++place;
  }
  if (call.arguments.size() > place) fail_usage(words, "%s takes no '%s'", words, call.arguments[place]);
}

// A command that is passed on keeps its own options.
bool passes_words_on(const Command& command) {
  return std::strstr(command.arguments, "COMMAND...") != nullptr;
}

// The words of a command, or as many as there are. Gives how many of argv they took.
int take_words(int argc, char** argv, CommandLine* line) {
  int taken = 0;
  while (line->call.command == nullptr) {
    const int at = taken + take_options(Options({}), "+:hv", argc - taken, argv + taken, line);
    if (at >= argc) {
      if (line->help || line->version || line->words.empty()) return argc;
      fail_usage(line->words.c_str(), "%s needs a command: %s", line->words.c_str(),
                 list_words(next_words(line->words)).c_str());
    }
    std::string longer = joined(line->words, argv[at]);
    line->call.command = find_command(longer);
    if (line->call.command == nullptr && next_words(longer).empty())
      refuse_word(line->words.c_str(), argv[at]);
    line->words = std::move(longer);
    taken = at;
  }
  return taken;
}

}  // namespace

const char* Call::option(const char* name) const {
  const char* value = nullptr;
  for (const Given& given : options) {
    if (std::strcmp(given.name, name) == 0) value = given.value;
  }
  return value;
}

std::span<const Option> common_options() {
  return kCommon;
}

const Command* find_command(std::string_view words) {
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      if (words == command.words) return &command;
    }
  }
  return nullptr;
}

uint64_t number_value(const char* name, const char* text, uint64_t least, uint64_t most) {
  uint64_t number = 0;
  if (number_from(text, &number) && number >= least && number <= most) return number;
  fail(kUsage, "Give one of these, in decimal digits.", "%s is a number from %llu to %llu, not '%s'", name,
       static_cast<unsigned long long>(least), static_cast<unsigned long long>(most), text);
}

size_t choice_value(const char* name, const char* text, const char* choices) {
  const auto words = words_of(choices, '|');
  for (size_t i = 0; i < words.size(); ++i) {
    if (words[i] == text) return i;
  }
  fail(kUsage, "Name one of these.", "%s is one of %s, not '%s'", name, list_words(words).c_str(), text);
}

std::vector<std::string> next_words(std::string_view words) {
  std::vector<std::string> next;
  const size_t skipped = words.empty() ? 0 : words.size() + 1;
  for (const Family* family : families()) {
    for (const Command& command : family->commands) {
      const std::string_view all = command.words;
      if (all.size() <= skipped || !all.starts_with(words) || (skipped != 0 && all[words.size()] != ' '))
        continue;
      const std::string_view rest = all.substr(skipped);
      const std::string_view word = rest.substr(0, rest.find(' '));
      if (next.empty() || next.back() != word) next.emplace_back(word);
    }
  }
  return next;
}

CommandLine parse(int argc, char** argv) {
  CommandLine line;
  const int words = take_words(argc, argv, &line);
  if (line.call.command == nullptr) return line;
  const bool passes_on = passes_words_on(*line.call.command);
  argc -= words;
  argv += words;
  const int at =
      take_options(Options(line.call.command->options), passes_on ? "+:hv" : ":hv", argc, argv, &line);
  line.call.arguments.assign(argv + at, argv + argc);
  if (line.help || line.version) return line;
  // "perm run 2001 -- ls -l", with or without the dashes.
  auto& arguments = line.call.arguments;
  if (passes_on && arguments.size() > 1 && std::strcmp(arguments[1], "--") == 0)
    arguments.erase(arguments.begin() + 1);
  check_arguments(line.call);
  return line;
}

void refuse_word(const char* words, const char* word) {
  Nearest nearest(word);
  const auto next = next_words(words);
  for (const std::string& candidate : next) nearest.offer(candidate);
  std::string hint;
  if (!nearest.found().empty()) hint = format("; did you mean %s?", nearest.found().data());
  for (const Family* family : families()) {
    // Half a command: "list".
    const std::string whole = joined(family->word, word);
    if (*words == '\0' && nearest.found().empty() && find_command(whole) != nullptr)
      append(&hint, "%s %s", hint.empty() ? "; there is" : " and", whole.c_str());
  }
  if (*words == '\0') fail_usage(words, "there is no command '%s'%s", word, hint.c_str());
  fail_usage(words, "%s has no command '%s'%s", words, word, hint.c_str());
}

bool mentions_json(int argc, char** argv) {
  for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
    if (std::strcmp(argv[i], "--json") == 0) return true;
  }
  return false;
}

}  // namespace zelctl
