#include "line_reader.h"

#include <sys/stat.h>
#include <unistd.h>

namespace routerbox {

LineReader::LineReader(const std::string& file) : file_(file), fd_(open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (!fd_) fail_errno("cannot read " + file_);
}

void LineReader::skip_to_last(off_t bytes) {
  const off_t size = lseek(fd_.get(), 0, SEEK_END);
  within_line_ = size > bytes;
  lseek(fd_.get(), within_line_ ? size - bytes : 0, SEEK_SET);
}

bool LineReader::read_some(const std::function<void(std::string_view line)>& take) {
  char block[65536];
  const ssize_t count = retry([&] { return read(fd_.get(), block, sizeof block); });
  if (count < 0) fail_errno("cannot read " + file_);
  pending_.append(block, static_cast<size_t>(count));
  size_t begin = 0;
  for (size_t end; (end = pending_.find('\n', begin)) != std::string::npos; begin = end + 1) {
    if (!within_line_) take(std::string_view(pending_).substr(begin, end - begin));
    within_line_ = false;
  }
  pending_.erase(0, begin);
  return count > 0;
}

bool LineReader::is_deleted() const {
  struct stat status {};
  return fstat(fd_.get(), &status) != 0 || status.st_nlink == 0;
}

}  // namespace routerbox
