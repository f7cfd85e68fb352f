// perm_codes.h: the library's 7000 codes in words.
#pragma once
#include <string>

#include "failure.h"

namespace zelctl {

// The failure that such a code means. `what` was being done: "1002 was not deleted", say.
Failure perm_failure(const std::string& what, int code);

}  // namespace zelctl
