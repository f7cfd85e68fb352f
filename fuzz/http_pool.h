// What the targets of the client on plain sockets share.
#pragma once

#include <memory>

#include "input.h"
#include "zel/http_raw.h"

using Pool = std::unique_ptr<mem_pool, decltype(&mem_destroy_pool)>;

// So small that most of what is allocated has memory of its own, whose bounds the address sanitizer knows.
inline Pool new_pool() {
  return Pool(mem_create_pool(80, nullptr, 0), &mem_destroy_pool);
}

// Takes a line off a text.
inline std::string take_line(std::string* text) {
  const std::string line = text->substr(0, text->find('\n'));
  text->erase(0, line.size() + 1);
  return line;
}
