#include "test.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <regex>
#include <thread>

#include "../box/box.h"
#include "../isolation/guard.h"
#include "../isolation/run_folder.h"
#include "../support/io.h"
#include "../support/pass_on.h"
#include "../support/programs.h"
#include "../support/status.h"
#include "leftovers.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

using Words = std::vector<std::string>;

constexpr size_t kOutputLines = 20;
constexpr const char* kReport = "report.xml";  // as bats names it

struct TestWish {
  std::string place = ".", pattern, target, build, junit;
  // A box waits more than it works.
  unsigned jobs = std::max(4U, 2 * std::thread::hardware_concurrency());
  bool valgrind = false, json = false;
};

TestWish parse(int argc, char** argv) {
  TestWish wish;
  CLI::App app;
  app.set_help_flag();
  app.add_option("place", wish.place);
  app.add_option("-k", wish.pattern);
  app.add_option("--jobs", wish.jobs)->check(CLI::Range(1, 1000));
  CLI::Option* const target = app.add_option("--target", wish.target);
  app.add_option("--build", wish.build)->check(CLI::ExistingDirectory)->excludes(target);
  app.add_flag("--valgrind", wish.valgrind);
  app.add_option("--junit", wish.junit);
  app.add_flag("--json", wish.json);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    throw Failure(std::string(error.what()) + "; routerbox test --help shows how it is used",
                  kWrongCommandLine);
  }
  return wish;
}

// What each box of the tests is started with, besides its name.
Words box_options(const TestWish& wish) {
  Words words{"--quiet"};
  if (!wish.target.empty()) words.insert(words.end(), {"--target", wish.target});
  if (!wish.build.empty()) words.insert(words.end(), {"--build", fs::absolute(wish.build)});
  if (wish.valgrind) words.emplace_back("--valgrind");
  return words;
}

// The nearest folder above a test that has a box.toml.
fs::path project_of(const fs::path& place) {
  for (fs::path folder = place; folder.has_relative_path(); folder = folder.parent_path())
    if (fs::exists(folder / "box.toml")) return folder;
  throw Failure(
      "no box.toml lies in " + place.string() + " or above it; routerbox new makes a project with tests",
      kNo);
}

Words tests_in(const fs::path& folder) {
  Words tests;
  std::error_code missing;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder, missing))
    if (entry.path().extension() == ".bats") tests.push_back(entry.path());
  if (tests.empty()) throw Failure("there are no tests: " + (folder / "*.bats").string(), kNo);
  std::sort(tests.begin(), tests.end());
  return tests;
}

Words tests_at(const fs::path& place, const fs::path& project) {
  if (!fs::is_directory(place)) return {place};
  return tests_in(place == project ? project / "tests" : place);
}

// What is wrong with all boxes is said once, before any test.
void check_box(const Words& options) {
  Words words{"routerbox"};
  words.insert(words.end(), options.begin(), options.end());
  std::vector<char*> pointers = exec_arguments(words);
  make_plan(read_run_options(static_cast<int>(words.size()), pointers.data()));
}

std::string find_bats() {
  try {
    return find_program("bats");
  } catch (const Failure&) {
    throw Failure("bats, which runs the tests, is not on this machine; run: sudo apt-get install bats",
                  kFailed);
  }
}

bool has_program(const char* name) {
  try {
    find_program(name);
    return true;
  } catch (const Failure&) {
    return false;
  }
}

Words bats_words(const TestWish& wish, const std::string& reports, const Words& tests) {
  Words words{"bats", "--timing", "--jobs", std::to_string(wish.jobs)};
  // bats itself runs those of one file at once, and needs GNU parallel for those of several.
  if (wish.jobs > 1 && !has_program("parallel")) words.emplace_back("--no-parallelize-across-files");
  if (!wish.pattern.empty()) words.insert(words.end(), {"--filter", wish.pattern});
  if (!wish.junit.empty() || wish.json)
    words.insert(words.end(), {"--report-formatter", "junit", "--output", reports});
  words.insert(words.end(), tests.begin(), tests.end());
  return words;
}

// bats looks once a second for a job that is free, while a test takes a fraction of one. In its own loop, and nowhere
// else, `sleep` is shorter.
constexpr const char* kSleep =
    "() { if [ \"${FUNCNAME[1]-}\" = bats_semaphore_acquire_slot ]; then command sleep 0.02;"
    " else command sleep \"$@\"; fi; }";

// Where `load box` finds the verbs: bats looks for it along PATH.
void set_environment(const std::string& run, const Words& options) {
  const fs::path own = own_folder();
  const std::string helpers = own.parent_path() / "share/routerbox/bats";
  const char* const path = std::getenv("PATH");
  setenv("PATH", (helpers + ":" + own.string() + (path != nullptr ? ":" + std::string(path) : "")).c_str(),
         1);
  std::string line;
  for (const std::string& word : options) line += quote(word) + " ";
  setenv("ROUTERBOX_UP", line.c_str(), 1);
  setenv("ROUTERBOX_RUN", run.c_str(), 1);
  setenv("BASH_FUNC_sleep%%", kSleep, 1);
}

// The terminal's signals are for bats, which ends its tests in order; what else is to end this ends bats first.
int run_program(const std::string& program, Words words, bool json) {
  std::cout << std::flush;
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process");
  if (child == 0) {
    if (json) dup2(STDERR_FILENO, STDOUT_FILENO);
    execv(program.c_str(), exec_arguments(words).data());
    write_all(STDERR_FILENO, "routerbox: " + explain_exec(program, errno) + "\n");
    _exit(kFailed);
  }
  for (const int number : {SIGINT, SIGQUIT}) signal(number, SIG_IGN);
  pass_on({SIGTERM, SIGHUP}, child);
  int status = 0;
  if (retry([&] { return waitpid(child, &status, 0); }) != child) fail_errno("cannot wait for " + program);
  return WIFSIGNALED(status) ? kKilledBase + WTERMSIG(status) : WEXITSTATUS(status);
}

// Tests that were interrupted leave their boxes; others have ended theirs. Returns whether there was anything.
bool clean_up(const std::string& run) {
  bool any = false;
  const auto report = [&](const std::string& what) {
    std::cerr << "routerbox: a test has left " + what + "; it is ended\n" << std::flush;
    any = true;
  };
  for (const std::string& name : running_boxes()) {
    if (!name.starts_with(run)) continue;
    BoxClient(name).end();
    report("the box " + name);
  }
  for (const std::string& process : kill_leftovers(run, true)) report(process);
  return any;
}

// bats does not wait for the program that writes it.
std::string whole_report(const fs::path& report) {
  constexpr int kMostLooks = 500;
  constexpr std::chrono::milliseconds kBetweenLooks(10);
  for (int looks = 0; looks < kMostLooks; ++looks) {
    const std::string text = fs::exists(report) ? read_file(report) : "";
    if (text.find("</testsuites>") != std::string::npos) return text;
    std::this_thread::sleep_for(kBetweenLooks);
  }
  throw Failure("bats has not finished its report; see above", kFailed);
}

// Of all its files.
Json counts_in(const std::string& report) {
  static const std::regex kSuite(
      R"re(<testsuite [^>]*tests="([0-9]+)" failures="([0-9]+)" errors="[0-9]+" skipped="([0-9]+))re");
  long tests = 0, failures = 0, skipped = 0;
  for (std::sregex_iterator suite(report.begin(), report.end(), kSuite), end; suite != end; ++suite) {
    tests += std::stol((*suite)[1]);
    failures += std::stol((*suite)[2]);
    skipped += std::stol((*suite)[3]);
  }
  return {{"tests", tests}, {"failures", failures}, {"skipped", skipped}};
}

void print_counts(const std::string& report, bool left) {
  Json counts = counts_in(report);
  counts["left"] = left;
  std::cout << text_of(counts) + "\n" << std::flush;
}

void print_output_tail(const std::string& folder) {
  const std::string text = read_file(folder + "/output.log");
  size_t begin = text.size();
  for (size_t lines = 0; begin > 0 && lines < kOutputLines; ++lines) {
    const size_t feed = begin > 1 ? text.rfind('\n', begin - 2) : std::string::npos;
    begin = feed == std::string::npos ? 0 : feed + 1;
  }
  std::cerr << "the last lines of the box's output:\n" + text.substr(begin);
}

}  // namespace

int run_tests(int argc, char** argv) {
  const TestWish wish = parse(argc, argv);
  if (!fs::exists(wish.place)) throw Failure("there is no file or folder " + wish.place, kNo);
  const fs::path place = fs::canonical(wish.place),
                 junit = wish.junit.empty() ? "" : fs::absolute(wish.junit);
  const Words options = box_options(wish);
  const fs::path project = project_of(place);
  fs::current_path(project);
  const Words tests = tests_at(place, project);
  const std::string bats = find_bats(), run = "t" + std::to_string(getpid()) + "-";
  check_box(options);
  set_environment(run, options);
  const HeldFolder reports(".report-" + std::to_string(getpid()));
  const int status = run_program(bats, bats_words(wish, reports.path(), tests), wish.json);
  const bool left = clean_up(run);
  if (!junit.empty() || wish.json) {
    const std::string report = whole_report(fs::path(reports.path()) / kReport);
    if (!junit.empty()) write_file(junit, report, 0644);
    if (wish.json) print_counts(report, left);
  }
  return status == 0 && !left ? kDone : kNo;
}

int verify_box(const BoxClient& box, const Json& arguments) {
  const Json problems = box.call("verify", arguments).at("problems");
  if (problems.empty()) return kDone;
  for (const Json& problem : problems) std::cerr << problem.get<std::string>() + "\n";
  print_output_tail(box.folder());
  std::cerr << std::flush;
  return kNo;
}

int end_test(const std::string& name) {
  int status = kDone;
  try {
    const BoxClient box(name);
    status = verify_box(box, {{"end", true}});
    box.end();
  } catch (const Failure& failure) {
    std::cerr << std::string("the box could not be verified: ") + failure.what() + "\n" << std::flush;
    status = kNo;
  }
  for (const std::string& process : kill_leftovers(name, false)) {
    std::cerr << "the test has left " + process + "; it is ended\n" << std::flush;
    status = kNo;
  }
  return status;
}

}  // namespace routerbox
