// wire_capture.h: reads the recorded bus frames in tests/hostbus/wire and compares frames with them.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace wire {

using Bytes = std::vector<uint8_t>;

// A place in a frame whose value varies from run to run.
struct Mask {
  size_t offset;
  size_t length;
  std::string name;  // "O.svc", "S.caller", "USER", ...
};

// One line of a capture.
struct Frame {
  bool to_broker;          // C>S
  std::string connection;  // "svc", "caller", ...
  std::string type;        // "INVOKE", ..., "EOF"
  Bytes bytes;             // the whole frame; empty for EOF
  std::vector<Mask> masks;

  bool is_eof() const { return type == "EOF"; }
};

// Values of the varying places. A name has one value within a recording, except the sequence numbers ("S."),
// which are never bound.
struct Bindings {
  // Names without a value take the one seen first. False when a bound name has another value.
  bool bind(const std::string& name, const Bytes& value);

  std::map<std::string, Bytes> values;
};

// Read files below the wire folder, e.g. load_capture("04-invoke-status-0.txt"). They throw
// std::runtime_error when a file is missing or malformed.
std::vector<Frame> load_capture(const std::string& file);

Bytes from_hex(const std::string& hex);
std::string to_hex(const Bytes& bytes);

// Compares a frame with the recorded one outside its masks, and binds the masked places. Returns what
// differs, or "" for a match.
std::string difference(const Frame& recorded, const Bytes& seen, Bindings& bindings);

// The recorded frame with the bound values in its masks, and `seq` in the header.
Bytes with_bindings(const Frame& recorded, const Bindings& bindings, uint16_t seq);

}  // namespace wire
