#include "wire_capture.h"

#include <algorithm>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace wire {
namespace {

std::ifstream open_file(const std::string& file) {
  std::ifstream in(std::string(TEST_DATA) + "/hostbus/wire/" + file);
  if (!in) throw std::runtime_error("cannot read the capture " + file);
  return in;
}

std::vector<std::vector<std::string>> load_words(const std::string& file, size_t words_a_line) {
  std::ifstream in = open_file(file);
  std::vector<std::vector<std::string>> lines;
  for (std::string line; std::getline(in, line);) {
    std::istringstream split(line);
    std::vector<std::string> words;
    for (std::string word; split >> word;) words.push_back(word);
    if (words.size() != words_a_line) throw std::runtime_error("malformed line in " + file + ": " + line);
    lines.push_back(std::move(words));
  }
  return lines;
}

Frame parse_frame(const std::vector<std::string>& words) {
  const size_t colon = words[1].find(':');
  if (colon == std::string::npos) throw std::runtime_error("malformed connection " + words[1]);
  return {.to_broker = words[0] == "C>S",
          .connection = words[1].substr(0, colon),
          .type = words[1].substr(colon + 1),
          .bytes = words[2] == "-" ? Bytes() : from_hex(words[2]),
          .masks = {}};
}

Bytes part(const Bytes& bytes, const Mask& mask) {
  const auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(mask.offset);
  return {begin, begin + static_cast<std::ptrdiff_t>(mask.length)};
}

bool is_sequence_number(const std::string& name) {
  return name.rfind("S.", 0) == 0;
}

}  // namespace

bool Bindings::bind(const std::string& name, const Bytes& value) {
  if (is_sequence_number(name)) return true;
  return values_.try_emplace(name, value).first->second == value;
}

const Bytes* Bindings::find(const std::string& name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? nullptr : &found->second;
}

std::vector<Frame> load_capture(const std::string& file) {
  std::vector<Frame> frames;
  for (const auto& words : load_words(file, 3)) frames.push_back(parse_frame(words));
  for (const auto& words : load_words("masks.txt", 5)) {
    if (words[0] != file) continue;
    Frame& frame = frames.at(std::stoul(words[1]) - 1);
    frame.masks.push_back({std::stoul(words[2]), std::stoul(words[3]), words[4]});
    if (frame.masks.back().offset + frame.masks.back().length > frame.bytes.size()) {
      throw std::runtime_error("a mask of " + file + " is outside its frame");
    }
  }
  return frames;
}

std::map<std::string, Bytes> load_vectors() {
  std::map<std::string, Bytes> vectors;
  for (const auto& words : load_words("24-blobmsg-vectors.txt", 3)) vectors[words[1]] = from_hex(words[2]);
  return vectors;
}

Bytes from_hex(const std::string& hex) {
  if (hex.size() % 2 != 0) throw std::runtime_error("odd number of hex digits: " + hex);
  Bytes bytes;
  for (size_t i = 0; i < hex.size(); i += 2) {
    bytes.push_back(static_cast<uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
  }
  return bytes;
}

std::string to_hex(const Bytes& bytes) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (const uint8_t byte : bytes) {
    hex += kDigits[byte >> 4];
    hex += kDigits[byte & 15];
  }
  return hex;
}

std::string difference(const Frame& recorded, const Bytes& seen, Bindings& bindings) {
  const std::string both = "\n  recorded " + to_hex(recorded.bytes) + "\n  seen     " + to_hex(seen);
  if (seen.size() != recorded.bytes.size()) return "another size" + both;
  Bytes masked = seen;
  for (const Mask& mask : recorded.masks) {
    if (!bindings.bind(mask.name, part(seen, mask))) return "another value of " + mask.name + both;
    std::copy_n(recorded.bytes.begin() + static_cast<std::ptrdiff_t>(mask.offset), mask.length,
                masked.begin() + static_cast<std::ptrdiff_t>(mask.offset));
  }
  return masked == recorded.bytes ? "" : "another frame" + both;
}

Bytes with_bindings(const Frame& recorded, const Bindings& bindings, uint16_t seq) {
  Bytes bytes = recorded.bytes;
  for (const Mask& mask : recorded.masks) {
    const Bytes* value = bindings.find(mask.name);
    if (value == nullptr) continue;
    std::copy(value->begin(), value->end(), bytes.begin() + static_cast<std::ptrdiff_t>(mask.offset));
  }
  bytes.at(2) = static_cast<uint8_t>(seq >> 8);
  bytes.at(3) = static_cast<uint8_t>(seq & 0xff);
  return bytes;
}

}  // namespace wire
