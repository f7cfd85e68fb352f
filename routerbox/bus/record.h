// record.h: the bus's part of the trace, from what the broker shows of its clients' frames.
#pragma once
#include <chrono>
#include <map>
#include <string>
#include <utility>

#include "../trace/trace.h"
#include "clients.h"
#include "frame.h"

namespace routerbox::bus {

// A line for each call, with its message and answer, when it has ended; for objects that come and go; for each look-up
// that found nothing; for each event that is sent, and for each client it is given to.
class Recorder {
 public:
  Recorder(Trace& trace, std::string folder) : trace_(trace), clients_(std::move(folder)) {}

  void add_object(uint32_t id, const std::string& path) { objects_[id] = path; }
  void take(const Frame& frame);
  // The broker has ended, and the numbers it gave with it.
  void forget();

 private:
  using Clock = std::chrono::steady_clock;
  struct Request {
    Frame frame;
    Clock::time_point begin;
    Json answer;
  };
  using Key = std::pair<uint32_t, uint32_t>;  // client and sequence number

  void take_request(const Frame& frame);
  void drop_unanswered(Clock::time_point now);
  void take_answer(const Frame& frame);
  void take_status(const Frame& frame);
  void take_call(const Frame& frame);
  void record(const Request& request, uint32_t status);

  // Fill in what a line has of this kind; false when it is not worth one.
  struct Kind {
    int type;  // enum ubus_msg_type
    bool (Recorder::*describe)(const Request& request, uint32_t status, TraceLine* line) const;
  };
  static const Kind kKinds[5];
  bool describe_lookup(const Request& request, uint32_t status, TraceLine* line) const;
  bool describe_new_object(const Request& request, uint32_t status, TraceLine* line) const;
  bool describe_removed_object(const Request& request, uint32_t status, TraceLine* line) const;
  bool describe_call(const Request& request, uint32_t status, TraceLine* line) const;
  static bool describe_event(const Frame& frame, TraceLine* line);
  std::string object_name(std::optional<uint32_t> id) const;

  Trace& trace_;
  Clients clients_;
  std::map<uint32_t, std::string> objects_;
  std::map<Key, Request> requests_;
  Clock::time_point looked_through_;
  std::string event_sender_;  // of the event that is given out
};

}  // namespace routerbox::bus
