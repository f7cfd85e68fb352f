// fault.h: what a server of the box does wrong on demand.
#pragma once
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "loopback.h"
#include "reply.h"

namespace routerbox {

// A fault is written as {"method": "...", "kind": "...", "count": N} and the kind's own members. Every server
// knows these kinds, and has some of its own:
//   delay     "ms" (1000): answers that much later
//   hang      "ms" (60000): is silent, then HTTP 504; the call is not carried out
//   cut       "bytes" (20): closes the connection after so much of the body
//   garbage   "text" (a piece of HTML): this body in place of the answer
//   http500   "status" (500): this HTTP status; the call is not carried out
//   trickle   "ms" (20): the body byte by byte, with this pause before each
// "method" is a method's name or "*" for all. "count" is the number of requests to play it for, also as a text, and
// "once" means 1; without it the fault stays until all are cleared. The kind may be written with its number, its
// text, or both behind it: "delay:9s", "cut:100", "garbage:<html>", "error:5:busy". Milliseconds take a unit.
enum class Effect : int { kNone, kFull };

struct FaultKind {
  const char* name;
  const char* number;  // name of its number, null when it has none
  int number_default, least, most;
  Effect effect;     // that the call has
  const char* text;  // name of its text, null when it has none
  const char* text_default;
  void (*play)(int number, const std::string& text, Reply* reply);
};

struct Fault {
  std::string method;
  const FaultKind* kind = nullptr;
  std::optional<int> count;  // requests to play it for
  int played = 0;
  int number = 0;
  std::string text;

  void play(Reply* reply) const { kind->play(number, text, reply); }
};

// Safe from any thread.
class Faults {
 public:
  // The server's own kinds, and the names of all methods it knows.
  Faults(const std::vector<FaultKind>& own, std::vector<std::string> methods);

  // Throws Failure when it is not written as above, or for a method that there is not.
  void add(const Json& written);
  void clear();
  // All faults since the last clear(), each with "played", the number of requests it was played for.
  Json list() const;
  // The first fault of one of these methods that is to be played, counted.
  std::optional<Fault> take(const std::vector<std::string>& methods);
  const std::vector<std::string>& methods() const { return methods_; }
  // As they are written, each with its number if it has one: "delay:1000ms".
  std::vector<std::string> kinds() const;

 private:
  const FaultKind& kind_named(const std::string& name) const;
  void check_method(const std::string& method) const;
  Fault fault_from(const Json& written) const;

  const std::vector<FaultKind> kinds_;
  const std::vector<std::string> methods_;
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;  // guarded by mutex_
};

//   GET    /box/fault   the faults, as list() has them
//   POST   /box/fault   adds the fault in the body
//   DELETE /box/fault   clears all faults
//   GET    /box/methods the names of all methods, an array
//   GET    /box/kinds   the kinds, likewise, as Faults::kinds() has them
// These, and all else below /box/, are for root of the box only (owner.h). A fault that is refused gets HTTP status 400
// with the reason as body. The faults must outlive the server.
void route_faults(LoopbackServer* server, Faults* faults);

}  // namespace routerbox
