// trace.h: what happens in the box, one line of JSON for each thing, from all its programs in one file.
#pragma once
#include <sys/types.h>

#include <chrono>
#include <mutex>
#include <optional>
#include <string>

#include "../support/io.h"
#include "../support/json.h"

namespace routerbox {

enum class Channel : int { kBus, kEvents, kRouter, kDownloads, kFiles, kLife };

inline constexpr const char* kChannelNames[] = {"bus", "events", "router", "downloads", "files", "life"};

// Becomes, on one line and in this order,
//   "at"       seconds since the box's start, to the microsecond
//   "time"     the same as UTC, to the millisecond: "2026-03-01T12:00:00.000Z"
//   "channel"  one of kChannelNames
//   "from", "to", "what", "result"   texts
//   "ms"       milliseconds it took; missing where there is none
//   "details"  an object; missing where there is none
// A text of more than kLongestText bytes, also one among the details, is cut, and ends with "... (N bytes)", its
// whole length. Details that are still longer than kLongestDetails become such a text themselves.
struct TraceLine {
  Channel channel = Channel::kLife;
  std::string from, to, what, result;
  std::optional<std::chrono::nanoseconds> took;
  Json details;
};

// As in "time".
std::string utc_now();

inline constexpr size_t kLongestText = 1000;
inline constexpr size_t kLongestDetails = 16'000;
inline constexpr off_t kLongestTrace = off_t{256} << 20;  // the file may lie in memory

// The file is trace.jsonl of the box's folder (peers.h). A line is one write at the file's end, so the lines of
// several programs stay whole. Where one cannot be written, because the disk is full or the file has reached its
// limit, that is told once on standard error and the program goes on; the next line is tried again. After a
// full disk a line may be broken off; readers pass over what is no JSON.
// Safe from any thread.
class Trace {
 public:
  // An empty `folder`: nothing is kept. Throws Failure when the file cannot be opened.
  explicit Trace(const std::string& folder, off_t limit = kLongestTrace);

  void record(const TraceLine& line);

 private:
  void append(const std::string& line);
  void report_once(const std::string& why);

  const std::string file_;
  const off_t limit_;
  double started_ = 0;  // seconds of CLOCK_MONOTONIC
  Descriptor fd_;
  std::mutex mutex_;
  bool broken_ = false;    // the last line did not get its end; guarded by mutex_
  bool reported_ = false;  // guarded by mutex_
};

}  // namespace routerbox
