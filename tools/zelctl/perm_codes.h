// perm_codes.h: the library's 7000 codes in words.
#pragma once

namespace zelctl {

// Fails with what such a code means. `what`, as printf, was being done: "1002 was not deleted", say.
[[noreturn]] void fail_perm(int code, const char* what, ...) __attribute__((format(printf, 2, 3)));

}  // namespace zelctl
