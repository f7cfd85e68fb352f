// run.h: runs shell lines on the host. $ROUTERBOX is the box's program, $PACKAGES the tests' package
// file.
#pragma once
#include <span>
#include <string>

struct Outcome {
  int status = 0;      // as a shell tells it
  std::string output;  // standard output and error
};

// The line runs under a limit of 30 seconds.
Outcome run(const std::string& line);

// Runs the lines of a table and compares.
struct Case {
  const char* why;
  const char* line;
  int status;
  const char* output;  // must be part of it
};
void check(std::span<const Case> cases);

// A folder of the host's /tmp, removed with everything in it.
class HostFolder {
 public:
  HostFolder();
  ~HostFolder();
  HostFolder(const HostFolder&) = delete;
  HostFolder& operator=(const HostFolder&) = delete;
  const std::string& root() const { return path_; }
  std::string path(const std::string& name) const { return path_ + "/" + name; }
  // Writes an executable or data file that every user may read.
  std::string file(const std::string& name, const std::string& text) const;

 private:
  std::string path_;
};
