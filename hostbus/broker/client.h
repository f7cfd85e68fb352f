#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "account.h"
#include "base/handles.h"
#include "message.h"
#include "monitor.h"
#include "output_queue.h"
#include "poller.h"

namespace hostbus {

// A listing in the making: what a client with a full socket has not got yet is looked up when it fits.
struct Listing {
  Header request;
  std::string prefix;
  std::optional<std::string> last;  // the name that was shown last
};

// One connection: its socket, what came in and is not yet handled, what could not yet go out.
class Client {
 public:
  enum class Input { kSome, kNone, kEnd };
  enum class Next { kFrame, kIncomplete, kBad };

  // What the broker keeps for one client: names, signatures, patterns, and a share for each record.
  static constexpr size_t kMaxHeld = 4194304;

  struct Surroundings {
    Poller& poller;
    Monitor& monitor;
  };
  Client(uint32_t id, zel::Descriptor socket, Account account, const Surroundings& around)
      : id_(id), socket_(std::move(socket)), account_(std::move(account)), around_(around) {}
  ~Client();
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  uint32_t id() const { return id_; }
  const Account& account() const { return account_; }

  // Waits for input, or for the socket to take output only. False when the kernel cannot; nothing of the client
  // is waited for then.
  bool read_on();
  void stop_reading();

  // Reads once, through `scratch`. What a peer sent before it hung up comes before kEnd.
  Input receive(std::span<uint8_t> scratch);

  // What the unhandled input begins with.
  Next next() const;
  // Valid when next() is kFrame, until drop_frame.
  Frame frame();
  void drop_frame();
  // Forgets the handled part of the input; frames taken before are no longer valid.
  void trim_input();

  // Sends, or queues what the socket does not take. A frame the queue has no room for is lost;
  // only this client suffers.
  void send(const Header& header, Bytes body);
  // Sends what is queued, as far as the socket takes it.
  void flush();
  bool has_output() const { return !output_.empty(); }

  // Adds to what is kept for the client. False when that would be too much.
  bool hold(size_t bytes);
  void let_go(size_t bytes) { held_ -= bytes; }

  // The listing that waits for room; no further request is handled meanwhile.
  std::optional<Listing> listing;

 private:
  // How much the socket took at once: 0 when it is full or the peer is gone.
  size_t write(Bytes first, Bytes second);
  void stop_writing();
  // False when the kernel cannot.
  bool watch();

  const uint32_t id_;
  zel::Descriptor socket_;
  const Account account_;
  const Surroundings around_;
  std::vector<uint8_t> input_;
  size_t handled_ = 0;
  OutputQueue output_;
  size_t held_ = 0;
  bool reading_ = false;
  uint32_t watched_ = 0;  // the events waited for
  bool deaf_ = false;     // the peer takes nothing any more; what it sent is still handled
};

}  // namespace hostbus
