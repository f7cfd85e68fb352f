// trace_reader.h: the box's trace as it grows.
#pragma once
#include <deque>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "../support/json.h"
#include "../trace/line_reader.h"

namespace routerbox {

// Safe from any thread.
class TraceReader {
 public:
  using Match = std::function<bool(const Json& line)>;

  explicit TraceReader(std::string file) : file_(std::move(file)) {}

  // What came before is seen no more by find() and each().
  void mark();
  // Where find() goes on looking to see only what comes from now on.
  size_t end();
  // The first line since the mark that fits. `next` is where to go on looking, at first 0.
  std::optional<Json> find(const Match& fits, size_t* next);
  void each(const std::function<void(const Json& line)>& take);
  // The last lines of these channels, also from before the mark, for people.
  std::vector<std::string> last(const std::vector<std::string>& channels, size_t most);

 private:
  void read_more();

  const std::string file_;
  std::mutex mutex_;
  // All that follows is guarded by mutex_.
  std::optional<LineReader> trace_;
  std::deque<Json> lines_;  // the oldest are dropped when there are too many
  size_t dropped_ = 0;
  size_t mark_ = 0;  // number of the first line that is seen
};

}  // namespace routerbox
