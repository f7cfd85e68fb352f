#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "account.h"
#include "base/handles.h"
#include "message.h"
#include "output_queue.h"
#include "poller.h"

namespace hostbus {

// One connection: its socket, what came in and is not yet handled, what could not yet go out.
class Client {
 public:
  enum class Input { kSome, kNone, kEnd };
  enum class Next { kFrame, kIncomplete, kBad };

  Client(uint32_t id, zel::Descriptor socket, Account account, Poller& poller)
      : id_(id), socket_(std::move(socket)), account_(std::move(account)), poller_(poller) {}
  ~Client() { poller_.remove(socket_.get()); }
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  uint32_t id() const { return id_; }
  const Account& account() const { return account_; }

  // Waits for input from now on. False when the kernel cannot.
  bool watch() { return poller_.add(socket_.get(), interest(), id_); }

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

 private:
  // How much the socket took at once: 0 when it is full or the peer is gone.
  size_t write(Bytes first, Bytes second);
  uint32_t interest() const { return output_.empty() ? EPOLLIN : EPOLLIN | EPOLLOUT; }
  void update_interest() { poller_.modify(socket_.get(), interest(), id_); }

  const uint32_t id_;
  zel::Descriptor socket_;
  const Account account_;
  Poller& poller_;
  std::vector<uint8_t> input_;
  size_t handled_ = 0;
  OutputQueue output_;
  bool deaf_ = false;  // the peer takes nothing any more; what it sent is still handled
};

}  // namespace hostbus
