// owned.h: texts that a call returns as new.
#pragma once

#include <cstdlib>
#include <string>

// Takes the text over and frees it.
inline std::string owned(char* text) {
  std::string copy = text != nullptr ? text : "(null)";
  free(text);
  return copy;
}
