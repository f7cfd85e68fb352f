// Keeps figures for the page that scripts/figures makes: lines of words parted by tabs, the program's name last, at the
// end of the file that ZEL_FIGURES names. Without the variable nothing is kept.
#pragma once

#include <string>
#include <vector>

namespace record {

void add(const std::vector<std::string>& words);

}  // namespace record
