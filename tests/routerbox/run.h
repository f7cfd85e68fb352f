// run.h: runs shell lines on the host. $ROUTERBOX is the box's program, $PACKAGES the tests' package
// file, $STATE the router's example state.
#pragma once
#include <sys/types.h>

#include <string>

struct Outcome {
  int status = 0;      // as a shell tells it
  std::string output;  // standard output and error
};

// The line runs under a limit of 30 seconds.
Outcome run(const std::string& line);

// A process in the background with its output on a pipe. The pipe ends when the last process that inherited
// it is gone, so reading to the end is also waiting for everything the process left behind.
class Running {
 public:
  explicit Running(const std::string& line);
  pid_t process() const { return process_; }
  // Reads output until `text` is part of it; false when the output ends before, or stays out for 20 seconds.
  bool says(const std::string& text);
  // Waits for the end of the output; false when it stays out for 20 seconds.
  bool silent();
  int wait();  // status as a shell tells it

 private:
  bool read_some();

  pid_t process_;
  int output_;
  bool at_end_ = false;
  std::string text_;
};

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
