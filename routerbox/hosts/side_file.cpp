#include "side_file.h"

#include "../project/value.h"

namespace routerbox::hosts {
namespace {

void read_headers(const Value& headers, SideFile* side) {
  for (const auto& [name, value] : headers.members()) {
    const std::string text = value.text();
    if (name.find_first_of(": \r\n") != std::string::npos || text.find_first_of("\r\n") != std::string::npos)
      value.refuse("cannot be a header; it is one line, NAME = \"TEXT\"");
    side->headers.emplace_back(name, text);
  }
}

const std::vector<::routerbox::Key<SideFile>> kKeys = {
    {"status",
     [](const Value& value, SideFile* side) { side->status = static_cast<int>(value.number(200, 599)); }},
    {"delay", [](const Value& value,
                 SideFile* side) { side->delay = std::chrono::duration<double>(value.seconds()); }},
    {"headers", read_headers},
};

}  // namespace

SideFile read_side_file(const std::string& file) {
  const TomlFile toml(file);
  SideFile side;
  read_keys(toml.whole(), kKeys, &side);
  return side;
}

}  // namespace routerbox::hosts
