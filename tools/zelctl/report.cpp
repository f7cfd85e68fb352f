#include "report.h"

#include <algorithm>
#include <cstdio>

namespace zelctl {
namespace {

// A result that did not get out is none: a script may read from a full disk.
void print(const std::string& text) {
  if (std::fputs(text.c_str(), stdout) < 0 || std::fflush(stdout) != 0)
    throw Failure(kFailed, "the result could not be written to standard output", "Make room where it goes.");
}

// Bytes of the UTF-8 character that begins there, or 0 if none does.
size_t character_length(const std::string& text, size_t at) {
  static constexpr struct {
    size_t length;
    unsigned mask, lead;
    unsigned least;  // smaller numbers have a shorter form
  } kForms[] = {{1, 0x80, 0x00, 0}, {2, 0xE0, 0xC0, 0x80}, {3, 0xF0, 0xE0, 0x800}, {4, 0xF8, 0xF0, 0x10000}};
  const auto byte = [&](size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
  for (const auto& form : kForms) {
    if ((byte(at) & form.mask) != form.lead) continue;
    if (at + form.length > text.size()) return 0;
    unsigned number = byte(at) & ~form.mask;
    for (size_t i = 1; i < form.length; ++i) {
      if ((byte(at + i) & 0xC0U) != 0x80) return 0;
      number = number << 6U | (byte(at + i) & 0x3FU);
    }
    const bool valid = number >= form.least && number <= 0x10FFFF && (number < 0xD800 || number > 0xDFFF);
    return valid ? form.length : 0;
  }
  return 0;
}

// Also the second set of control characters, 0x80 to 0x9F, which is two bytes long here.
bool is_control(const std::string& character) {
  const unsigned char first = static_cast<unsigned char>(character[0]);
  if (character.size() == 1) return first < 0x20 || first == 0x7F;
  return first == 0xC2 && static_cast<unsigned char>(character[1]) < 0xA0;
}

}  // namespace

void tell(const Session& session, const std::string& text, const JsonTree& json) {
  print(session.json ? printed(json) : text);
}

void tell(const Session& session, const Failure& failure) {
  if (!session.json) {
    const std::string code = failure.code() != 0 ? " (" + std::to_string(failure.code()) + ")" : "";
    std::fprintf(stderr, "zelctl: %s%s\n%s\n", failure.what(), code.c_str(), failure.advice().c_str());
    return;
  }
  const JsonTree json = json_object();
  add(json, "error", failure.what());
  add(json, "code", failure.code());
  add(json, "advice", failure.advice());
  print(printed(json));
}

void note(const Session& session, const std::string& text) {
  if (!session.json) std::fprintf(stderr, "note: %s\n", text.c_str());
}

std::string columns(const std::vector<std::vector<std::string>>& rows) {
  std::vector<size_t> widths;
  for (const auto& row : rows) {
    widths.resize(row.size());
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  std::string text;
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.size(); ++i) {
      text += row[i];
      if (i + 1 < row.size()) text.append(widths[i] - row[i].size() + 2, ' ');
    }
    text += '\n';
  }
  return text;
}

std::string readable(const std::string& text) {
  std::string result;
  for (size_t at = 0; at < text.size();) {
    const size_t length = character_length(text, at);
    const std::string character = text.substr(at, std::max<size_t>(length, 1));
    result += length == 0 || is_control(character) ? "?" : character;
    at += character.size();
  }
  return result;
}

}  // namespace zelctl
