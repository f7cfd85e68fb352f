#include "wire_capture.h"

#include <algorithm>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace wire {
namespace {

using Words = std::vector<std::string>;

std::vector<Words> load_words(const std::string& file, size_t words_a_line) {
  std::ifstream in(std::string(TEST_DATA) + "/hostbus/wire/" + file);
  std::vector<Words> lines;
  for (std::string line; std::getline(in, line);) {
    std::istringstream split(line);
    lines.emplace_back(std::istream_iterator<std::string>(split), std::istream_iterator<std::string>());
    if (lines.back().size() != words_a_line) throw std::runtime_error("malformed line in " + file);
  }
  if (lines.empty()) throw std::runtime_error("cannot read " + file);
  return lines;
}

}  // namespace

bool Bindings::bind(const std::string& name, const Bytes& value) {
  return name.starts_with("S.") || values.try_emplace(name, value).first->second == value;
}

std::vector<Frame> load_capture(const std::string& file) {
  std::vector<Frame> frames;
  for (const Words& words : load_words(file, 3)) {
    const size_t colon = words[1].find(':');
    frames.push_back({.to_broker = words[0] == "C>S",
                      .connection = words[1].substr(0, colon),
                      .type = words[1].substr(colon + 1),
                      .bytes = words[2] == "-" ? Bytes() : from_hex(words[2]),
                      .masks = {}});
  }
  for (const Words& words : load_words("masks.txt", 5)) {
    if (words[0] != file) continue;
    Frame& frame = frames.at(std::stoul(words[1]) - 1);
    frame.masks.push_back({std::stoul(words[2]), std::stoul(words[3]), words[4]});
  }
  return frames;
}

Bytes from_hex(const std::string& hex) {
  Bytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string to_hex(const Bytes& bytes) {
  std::string hex;
  for (const uint8_t byte : bytes) {
    for (const int digit : {byte >> 4, byte & 15}) hex += "0123456789abcdef"[digit];
  }
  return hex;
}

std::string difference(const Frame& recorded, const Bytes& seen, Bindings& bindings) {
  const std::string both = "\n  recorded " + to_hex(recorded.bytes) + "\n  seen     " + to_hex(seen);
  if (seen.size() != recorded.bytes.size()) return "another size" + both;
  Bytes masked = seen;
  for (const Mask& mask : recorded.masks) {
    const auto begin = seen.begin() + static_cast<std::ptrdiff_t>(mask.offset);
    const Bytes value(begin, begin + static_cast<std::ptrdiff_t>(mask.length));
    if (!bindings.bind(mask.name, value)) return "another value of " + mask.name + both;
    std::copy_n(recorded.bytes.begin() + static_cast<std::ptrdiff_t>(mask.offset), mask.length,
                masked.begin() + static_cast<std::ptrdiff_t>(mask.offset));
  }
  return masked == recorded.bytes ? "" : "another frame" + both;
}

Bytes with_bindings(const Frame& recorded, const Bindings& bindings, uint16_t seq) {
  Bytes bytes = recorded.bytes;
  for (const Mask& mask : recorded.masks) {
    const auto found = bindings.values.find(mask.name);
    if (found == bindings.values.end()) continue;
    std::copy(found->second.begin(), found->second.end(),
              bytes.begin() + static_cast<std::ptrdiff_t>(mask.offset));
  }
  bytes.at(2) = static_cast<uint8_t>(seq >> 8);
  bytes.at(3) = static_cast<uint8_t>(seq & 0xff);
  return bytes;
}

}  // namespace wire
