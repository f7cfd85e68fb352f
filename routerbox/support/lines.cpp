#include "lines.h"

#include <sys/stat.h>

#include <chrono>
#include <memory>

namespace routerbox {
namespace {

constexpr size_t kLongestLine = 65536;
constexpr size_t kMostWaiting = size_t{1} << 20;
constexpr off_t kLongestFile = off_t{64} << 20;
constexpr std::chrono::seconds kPatience(2);

// A file is to hold what happened of late, not to fill the disk.
void limit_size(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0 || !S_ISREG(status.st_mode) || status.st_size < kLongestFile) return;
  if (ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) >= 0)
    write_all(file,
              "routerbox: " + std::to_string(status.st_size >> 20) + " MiB before this line are left out\n");
}

}  // namespace

Sink whole_lines(std::function<void(std::string_view line)> take) {
  const auto pending = std::make_shared<std::string>();
  return [pending, take = std::move(take)](std::string_view piece) {
    pending->append(piece);
    size_t begin = 0;
    for (size_t end; (end = pending->find('\n', begin)) != std::string::npos; begin = end + 1)
      take(std::string_view(*pending).substr(begin, end - begin));
    pending->erase(0, begin);
    if (pending->empty() || (!piece.empty() && pending->size() <= kLongestLine)) return;
    take(*pending);
    pending->clear();
  };
}

Printer::Printer(const std::string& log, bool own) : own_(own) {
  if (!log.empty()) {
    log_ = Descriptor(open(log.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0644));
    if (!log_) fail_errno("cannot open " + log, "--log must name a file that can be written");
  }
  writer_ = std::thread([this] { write_lines(); });
}

Printer::~Printer() {
  {
    const std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  writer_.join();
}

void Printer::print(int stream, std::string_view line) {
  {
    const std::lock_guard lock(mutex_);
    waiting_.push_back({stream, std::string(line) + '\n'});
    waiting_bytes_ += line.size();
  }
  changed_.notify_all();
}

bool Printer::full() const {
  const std::lock_guard lock(mutex_);
  return waiting_bytes_ > kMostWaiting;
}

void Printer::flush() {
  std::unique_lock lock(mutex_);
  for (size_t before = written_lines_ - 1; !waiting_.empty() && before != written_lines_;) {
    before = written_lines_;
    changed_.wait_for(lock, kPatience, [&] { return waiting_.empty() || written_lines_ != before; });
  }
}

// As many lines for one stream as are worth one write: a program may print a million.
Printer::Batch Printer::next_batch() const {
  Batch batch{waiting_.front().stream, {}, 0};
  for (const Line& line : waiting_) {
    if (line.stream != batch.stream || batch.text.size() > kLongestLine) break;
    batch.text += line.text;
    ++batch.lines;
  }
  return batch;
}

// Lines stay in the queue until they are written, so that flush() sees them.
void Printer::write_lines() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [&] { return ending_ || !waiting_.empty(); });
    if (waiting_.empty()) return;
    const Batch batch = next_batch();
    lock.unlock();
    write(batch);
    lock.lock();
    waiting_bytes_ -= batch.text.size() - batch.lines;
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<ptrdiff_t>(batch.lines));
    written_lines_ += batch.lines;
    changed_.notify_all();
  }
}

void Printer::write(const Batch& batch) {
  write_all(batch.stream, batch.text);
  if (own_) limit_size(batch.stream);
  if (!log_) return;
  write_all(log_.get(), batch.text);
  limit_size(log_.get());
}

}  // namespace routerbox
