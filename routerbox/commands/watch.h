// watch.h: a program that is built anew.
#pragma once
#include <functional>
#include <string>

namespace routerbox {

// Calls `changed` whenever the file at `program` has become another and stays so for a moment, as a linker writes for a
// while; returns once `ended` is true.
void watch_program(const std::string& program, const std::function<bool()>& ended,
                   const std::function<void()>& changed);

}  // namespace routerbox
