#include "programs.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sstream>

#include "failure.h"

namespace routerbox {
namespace {

namespace fs = std::filesystem;

bool is_file(const fs::path& path) {
  std::error_code ignored;
  return fs::is_regular_file(path, ignored);
}

bool executable(const fs::path& path) {
  return access(path.c_str(), X_OK) == 0;
}

std::string octal(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777U));
  return text;
}

}  // namespace

std::string find_program(const std::string& word) {
  fs::path refused;
  if (word.find('/') != std::string::npos) {
    const fs::path path = fs::absolute(word).lexically_normal();
    if (is_file(path) && executable(path)) return path;
    if (fs::exists(fs::symlink_status(path))) refused = path;
  } else {
    const char* const value = std::getenv("PATH");
    std::istringstream folders(value != nullptr ? value : "/usr/local/bin:/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
      const fs::path path = fs::absolute(fs::path(folder.empty() ? "." : folder) / word).lexically_normal();
      if (!is_file(path)) continue;
      if (executable(path)) return path;
      refused = path;
    }
  }
  if (!refused.empty())
    throw Failure(refused.string() + " cannot be executed; it must be a program file with the x permission",
                  kNotExecutable);
  throw Failure(word + " was not found; give a path, or add its folder to PATH", kNotFound);
}

std::string find_own(const std::string& folder, const std::string& program, const std::string& what,
                     const std::string& option) {
  try {
    return find_program(folder + "/" + program);
  } catch (const Failure& failure) {
    throw Failure(what + " is missing: " + failure.what() + ". Build the target " + program +
                  ", or leave out " + option);
  }
}

std::string own_folder() {
  std::error_code error;
  const fs::path self = fs::read_symlink("/proc/self/exe", error);
  if (error) throw Failure("cannot read /proc/self/exe; the box needs a mounted /proc");
  return self.parent_path();
}

std::string quote(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::vector<char*> exec_arguments(std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (std::string& word : words) pointers.push_back(word.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::string explain_exec(const std::string& program, int error) {
  const std::string subject = program + " cannot be executed by uid " + std::to_string(geteuid());
  if (error != EACCES) {
    const std::string hint = error == ENOENT ? "; it or the interpreter it names is missing" : "";
    return subject + ": " + std::strerror(error) + hint;
  }
  fs::path walked;
  for (const fs::path& part : fs::path(program)) {
    walked /= part;
    struct stat status {};
    if (stat(walked.c_str(), &status) != 0 || eaccess(walked.c_str(), X_OK) != 0)
      return subject + ": " + walked.string() + " (mode " + octal(status.st_mode) + ", owner " +
             std::to_string(status.st_uid) + ") does not let it through; run chmod o+x " + walked.string() +
             " or move the program to a folder that every user may enter";
  }
  return subject + ": permission denied; is its file system mounted noexec?";
}

}  // namespace routerbox
