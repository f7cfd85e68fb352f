// What the targets of the client on plain sockets share.
#pragma once

#include <zel/http_raw.h>
#include "input.h"
#include "support/pool.h"

// Takes a line off a text.
inline std::string take_line(std::string* text) {
  const std::string line = text->substr(0, text->find('\n'));
  text->erase(0, line.size() + 1);
  return line;
}
