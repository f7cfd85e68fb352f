// line_reader.h: a file to which lines are added, as the trace is.
#pragma once
#include <functional>
#include <string>
#include <string_view>

#include "../support/io.h"

namespace routerbox {

class LineReader {
 public:
  // Throws Failure when it cannot be read.
  explicit LineReader(const std::string& file);

  // Goes on with the first whole line of the last so many bytes.
  void skip_to_last(off_t bytes);
  // Reads once and gives each whole line, without its end; false when nothing was there to read. Throws Failure.
  bool read_some(const std::function<void(std::string_view line)>& take);
  // Whether it was deleted: nothing comes any more.
  bool is_deleted() const;

 private:
  const std::string file_;
  Descriptor fd_;
  std::string pending_;  // a line whose end is not there yet
  bool within_line_ = false;
};

}  // namespace routerbox
