// stub_file.h: what a stub says: a plug-in that is played, from a file.
//
//   [[answer]]                     # the first that fits the message; a message that none fits gets kUnforeseen
//   is = "rain?"                   # the whole message; or
//   like = "rain in *"             # a pattern as of file names; or
//   match = "^rain in (Bern|Uri)$" # a POSIX extended regular expression; or nothing: any message
//   text = "2 mm"                  # "": an empty answer
//   status = 5                     # of the call on the bus; 0 unless given
//   delay = "500ms"                # as in any plug-in the next message waits meanwhile; senders wait 8s
//   count = 2                      # "once" or how often it is given, then those behind it are looked at
//   [[answer]]
//   like = "stop *"
//   fail = "hang"                  # no answer to this one or any other until it is restarted; "end": it ends
//   [[send]]
//   to = "weather"                 # a plug-in's name or appid
//   text = "rain"
//   after = "1s"                   # the stub's start; the time of `every` unless given
//   every = "5s"                   # once unless given
//   count = 3                      # for ever unless given
//   [[event]]
//   event = "wan"                  # or "disk", "home"
//   sub = 257
//   text = "down"                  # none unless given; times as for a message
// All else is an error.
#pragma once
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace routerbox {

inline constexpr int kUnforeseen = 4;  // "not found" on the bus

struct StubAnswer {
  enum class Act { kAnswer, kHang, kEnd };
  std::function<bool(const std::string& message)> fits;  // none: any message
  Act act = Act::kAnswer;
  std::string text;
  int status = 0;
  std::chrono::milliseconds delay{0};
  std::optional<int64_t> count;
  std::string place;  // FILE:LINE
};

struct Times {
  std::optional<std::chrono::milliseconds> after, every;
  std::optional<int64_t> count;
};

struct StubSend {
  std::string to, appid, text;
  Times times;
};

struct StubEvent {
  std::string event;
  int sub = -1;
  std::optional<std::string> text;
  Times times;
};

struct Stub {
  std::vector<StubAnswer> answers;
  std::vector<StubSend> sends;
  std::vector<StubEvent> events;
};

// A plug-in that messages may be sent to.
struct StubPeer {
  std::string name, appid;
};

// Throws Failure: FILE:LINE, what was found and what was expected.
Stub read_stub(const std::string& file, const std::vector<StubPeer>& peers);

}  // namespace routerbox
