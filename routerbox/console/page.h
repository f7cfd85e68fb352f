// page.h: the page, which is part of the program.
#pragma once
#include <span>
#include <string_view>

namespace routerbox {

struct PageFile {
  const char* path;  // of its address
  const char* type;
  std::string_view text;
};

extern const std::span<const PageFile> kPage;

}  // namespace routerbox
