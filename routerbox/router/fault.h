// fault.h: what the router does wrong on demand.
#pragma once
#include <chrono>
#include <limits>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "json.h"

namespace routerbox::router {

// What goes out for one request, and how.
struct Reply {
  Json answer;
  std::optional<std::string> body;  // goes out in place of the answer
  int status = 200;
  std::chrono::milliseconds before{0};                    // silence before the first byte
  std::chrono::milliseconds between_bytes{0};             // of the body
  size_t cut_after = std::numeric_limits<size_t>::max();  // bytes of the body; then the connection is closed
};

// A fault is written as {"method": "...", "kind": "...", "count": N} and the kind's own members:
//   delay     "ms" (1000): answers that much later
//   hang      "ms" (60000): is silent, then HTTP 504; the call is not carried out
//   cut       "bytes" (20): closes the connection after so much of the body
//   garbage   "text" (a piece of HTML): this body in place of the answer
//   types     texts become numbers and numbers texts, except in the ResponseHeader
//   error     "code" (5), "text": this ErrorCode and ErrorMsg; the call is not carried out
//   oversize  "bytes" (20000): so much padding in the answer
//   http500   "status" (500): this HTTP status; the call is not carried out
//   trickle   "ms" (20): the body byte by byte, with this pause before each
// "method" is a method's name or "*" for all. "count" is the number of requests to play it for; without it
// the fault stays until all are cleared.
enum class Effect : int { kNone, kFull };

struct FaultKind {
  const char* name;
  const char* number;  // name of its number, null when it has none
  int number_default, least, most;
  Effect effect;     // that the call has on the state
  const char* text;  // name of its text, null when it has none
  const char* text_default;
  void (*play)(int number, const std::string& text, Reply* reply);
};

struct Fault {
  std::string method;
  const FaultKind* kind = nullptr;
  std::optional<int> left;  // requests to play it for
  int number = 0;
  std::string text;

  void play(Reply* reply) const { kind->play(number, text, reply); }
};

// Throws Failure when it is not written as above.
Fault fault_from(const Json& written);
Json written(const Fault& fault);

// Safe from any thread.
class Faults {
 public:
  void add(Fault fault);
  void clear();
  Json list() const;
  // The first fault of this method, counted down.
  std::optional<Fault> take(const std::string& method);

 private:
  mutable std::mutex mutex_;
  std::vector<Fault> faults_;  // guarded by mutex_
};

}  // namespace routerbox::router
