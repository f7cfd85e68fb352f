// launch.h: how a program of the box is started.
#pragma once
#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "../support/lines.h"

namespace routerbox {

struct Launch {
  std::string program;             // absolute path
  std::vector<std::string> words;  // as the program sees them, its name first
  std::optional<uid_t> uid = {};   // and its gid; none: root of the box
  // Gets its output. Such a program runs in the background: a session of its own (the terminal's Ctrl-C is not for
  // it), no input. Without one it has the box's own standard streams.
  Sink output = {};
  // Its output is a terminal, so that its C library passes on every line as it is written.
  bool terminal = false;
  // A folder that it has at kDataFolder, and starts in; empty: none.
  std::string data = {};
  std::string folder = {};  // to start in; empty: the caller's
  // Called last, by the new process as its user and in its folder, where all is known that only shows there, such as
  // the program. Throws Failure.
  std::function<void(Launch*)> complete = {};
};

// The new program's standard streams.
struct Streams {
  Descriptor input, output;
};

// What a new process needs, put together before the fork. Between that and the program nothing is allocated: other
// threads may hold locks of the allocator then, which those of sanitizers leave held in the child.
class Start {
 public:
  explicit Start(const Launch& launch);

  // In the new child: becomes the program, or writes to `report` why not: the exit status as one byte, then the text.
  [[noreturn]] void become_program(const Streams* streams, int report);

 private:
  void prepare(const Streams* streams) const;
  void execute();

  Launch launch_;
  std::vector<char*> words_;
  std::vector<std::string> settings_;
  std::vector<char*> environment_;
};

}  // namespace routerbox
