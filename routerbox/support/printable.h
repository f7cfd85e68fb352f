// printable.h: texts of plug-ins, archives and servers on the author's terminal.
#pragma once
#include <string>
#include <string_view>

namespace routerbox {

// What comes from outside must not steer the terminal: its control characters become spaces, but for those `kept`.
inline std::string printable(std::string text, std::string_view kept = {}) {
  constexpr unsigned char kDelete = 0x7f, kBeforeLateControls = 0xc2, kLastLateControl = 0x9f;
  unsigned char before = 0;
  for (char& c : text) {
    const auto byte = static_cast<unsigned char>(c);
    const bool late = before == kBeforeLateControls && byte <= kLastLateControl;  // U+0080 to U+009F
    if (late) (&c)[-1] = ' ';
    if (late || ((byte < ' ' || byte == kDelete) && kept.find(c) == std::string_view::npos)) c = ' ';
    before = byte;
  }
  return text;
}

inline constexpr std::string_view kLines = "\n\t";  // to be kept in texts of several lines

}  // namespace routerbox
