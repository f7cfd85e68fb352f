#include "stream.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <filesystem>

#include "../isolation/run_folder.h"
#include "../support/json.h"

namespace routerbox {
namespace {

constexpr off_t kFromNotLongAgo = off_t{4} << 20;
constexpr int kBetweenLooksMs = 50;
constexpr std::chrono::seconds kHeartbeat(1);
constexpr size_t kLargePiece = 256 << 10;

bool takes_connections(const std::string& path) {
  const Descriptor end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  return end && connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

}  // namespace

TraceStream::TraceStream(std::string box)
    : box_(std::move(box)),
      socket_(socket_of(box_)),
      file_(std::filesystem::path(socket_).parent_path() / "trace.jsonl"),
      last_piece_(Clock::now()),
      last_look_(last_piece_) {}

std::string TraceStream::next() {
  std::string piece = trace_ ? read_lines() : look_for_box();
  const Clock::time_point now = Clock::now();
  if (piece.empty()) poll(nullptr, 0, kBetweenLooksMs);
  if (piece.empty() && now - last_piece_ >= kHeartbeat) piece = ":\n\n";
  if (!piece.empty()) last_piece_ = now;
  return piece;
}

std::string TraceStream::look_for_box() {
  if (!takes_connections(socket_)) return announce(false);
  try {
    trace_.emplace(file_);
  } catch (const Failure&) {
    return announce(false);  // it has gone meanwhile
  }
  trace_->skip_to_last(kFromNotLongAgo);
  return announce(true);
}

std::string TraceStream::read_lines() {
  std::string piece;
  const auto take = [&](std::string_view line) { piece += "data: " + std::string(line) + "\n\n"; };
  while (piece.size() < kLargePiece && trace_->read_some(take)) {
  }
  if (!piece.empty() || box_lives()) return piece;
  trace_.reset();
  return announce(false);
}

// The folder of a box that was killed stays.
bool TraceStream::box_lives() {
  if (trace_->is_deleted()) return false;
  const Clock::time_point now = Clock::now();
  if (now - last_look_ < kHeartbeat) return true;
  last_look_ = now;
  return takes_connections(socket_);
}

std::string TraceStream::announce(bool running) {
  if (announced_ == running) return {};
  announced_ = running;
  return "event: box\ndata: " + text_of({{"box", box_}, {"running", running}}) + "\n\n";
}

}  // namespace routerbox
