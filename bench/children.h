// Processes beside the measuring one, and a plug-in among them that serves cloud messages.
#pragma once

#include <sys/types.h>

#include <functional>
#include <memory>

namespace children {

// One end of a line between two processes. Everything said is a single signal without content.
class Line {
 public:
  explicit Line(int fd) : fd_(fd) {}
  ~Line();
  Line(const Line&) = delete;
  Line& operator=(const Line&) = delete;

  bool tell() const;
  bool wait() const;  // False when the other process has ended.

 private:
  int fd_;
};

// A process that runs `body` under a user id, and is ended with the object.
class Child {
 public:
  Child(uid_t uid, const std::function<void(const Line&)>& body);
  ~Child();
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  const Line& line() const { return *line_; }

 private:
  pid_t pid_ = -1;
  std::unique_ptr<Line> line_;
};

// Plug-ins of packages.json.
inline constexpr char kServerAppid[] = "3001";
inline constexpr uid_t kServerUid = 10001;
inline constexpr uid_t kSenderUid = 10002;

// Starts the plug-in kServerAppid, which answers every cloud message with its own text. Null if it did not
// come up.
std::unique_ptr<Child> start_server();

}  // namespace children
