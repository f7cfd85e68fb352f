#include "transfer.h"

#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <memory>
#include <thread>

#include "../support/io.h"

namespace routerbox::files {
namespace {

using Clock = std::chrono::steady_clock;

constexpr size_t kBlock = 65536;
constexpr uint64_t kPiecesPerSecond = 20;  // of a slow transfer
constexpr int kPartialContent = 206;
constexpr int kRangeNotSatisfiable = 416;

struct Part {
  uint64_t begin, end;
};

// The HTTP library's own ranges trust the client to know the size.
std::optional<Part> part_of(const httplib::Ranges& ranges, uint64_t size) {
  if (ranges.empty()) return Part{0, size};
  if (ranges.size() > 1) return std::nullopt;
  const auto [first, last] = ranges.front();
  const auto length = static_cast<ssize_t>(size);
  if (first >= length || (first < 0 && last <= 0)) return std::nullopt;
  if (first < 0) return Part{static_cast<uint64_t>(std::max<ssize_t>(0, length - last)), size};
  const ssize_t end = last < 0 || last >= length ? length : last + 1;
  return Part{static_cast<uint64_t>(first), static_cast<uint64_t>(end)};
}

// Sends block after block, each when it is due.
class Sender {
 public:
  Sender(Content content, const Manner& manner, Part part)
      : content_(std::move(content)), manner_(manner), part_(part) {}

  bool operator()(size_t sent, httplib::DataSink& sink) {
    const uint64_t offset = part_.begin + sent;
    if (offset == part_.end) {
      sink.done();
      return true;
    }
    uint64_t end = part_.end;
    if (manner_.drop_at && part_.begin == 0) end = std::min(end, *manner_.drop_at);
    const auto length = static_cast<size_t>(std::min<uint64_t>(end - offset, piece()));
    if (length == 0) return false;
    std::array<char, kBlock> block;
    if (!content_.read(offset, block.data(), length)) return false;
    wait_for(sent + length);
    return sink.write(block.data(), length);
  }

 private:
  uint64_t piece() const {
    if (!manner_.bytes_per_second) return kBlock;
    return std::clamp<uint64_t>(*manner_.bytes_per_second / kPiecesPerSecond, 1, kBlock);
  }

  void wait_for(uint64_t total) const {
    if (!manner_.bytes_per_second) return;
    const double seconds = static_cast<double>(total) / static_cast<double>(*manner_.bytes_per_second);
    std::this_thread::sleep_until(start_ + std::chrono::duration<double>(seconds));
  }

  Content content_;
  Manner manner_;
  Part part_;
  Clock::time_point start_ = Clock::now();
};

}  // namespace

std::optional<Content> open_file(const std::filesystem::path& folder, const std::filesystem::path& name) {
  for (const std::filesystem::path& part : name)
    if (part == ".." || part == "/") return std::nullopt;
  auto file = std::make_shared<Descriptor>(open((folder / name).c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (!*file || fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return Content{static_cast<uint64_t>(status.st_size),
                 [file = std::move(file)](uint64_t offset, char* block, size_t length) {
                   const auto place = static_cast<off_t>(offset);
                   return pread(file->get(), block, length, place) == static_cast<ssize_t>(length);
                 }};
}

Manner manner_of(const Reply& reply) {
  constexpr int64_t kSecond = 1000;
  Manner manner;
  if (reply.cut_after != Reply().cut_after) manner.drop_at = reply.cut_after;
  if (reply.between_bytes.count() > 0)
    manner.bytes_per_second =
        static_cast<uint64_t>(std::max<int64_t>(1, kSecond / reply.between_bytes.count()));
  return manner;
}

void send_content(const httplib::Request& request, httplib::Response& response, const Content& content,
                  const Manner& manner) {
  const std::string size = std::to_string(content.size);
  const std::optional<Part> part = part_of(request.ranges, content.size);
  response.set_header("Accept-Ranges", "bytes");
  if (!part) {
    response.status = kRangeNotSatisfiable;
    response.set_header("Content-Range", "bytes */" + size);
    return;
  }
  if (!request.ranges.empty()) {
    response.status = kPartialContent;
    response.set_header("Content-Range", "bytes " + std::to_string(part->begin) + "-" +
                                             std::to_string(part->end - 1) + "/" + size);
  }
  response.set_header("Content-Length", std::to_string(part->end - part->begin));
  // Without a length, so that the library leaves the range to us.
  response.set_content_provider(content.type, Sender(content, manner, *part));
}

}  // namespace routerbox::files
