// digest.h: MD5 digests as text.
#pragma once

#include <openssl/md5.h>

namespace zel {

// Writes 32 lower-case hexadecimal digits and a NUL.
void write_digest(const unsigned char (&digest)[MD5_DIGEST_LENGTH], char* output) noexcept;

}  // namespace zel
