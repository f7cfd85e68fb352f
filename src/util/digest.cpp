#include "util/digest.h"

#include <zel/util.h>

namespace zel {

void write_digest(const unsigned char (&digest)[MD5_DIGEST_LENGTH], char* output) noexcept {
  for (const unsigned char byte : digest) {
    *output++ = "0123456789abcdef"[byte >> 4];
    *output++ = "0123456789abcdef"[byte & 15];
  }
  *output = '\0';
}

}  // namespace zel

char* md5_string(const void* data, int length, char* output) {
  if (output == nullptr) return nullptr;
  const size_t size = data != nullptr && length > 0 ? static_cast<size_t>(length) : 0;
  unsigned char digest[MD5_DIGEST_LENGTH];
  // OpenSSL 3 marks MD5() as old. Its successor looks up an implementation first, which can fail and
  // costs more than digests as short as these; and they name things, they guard nothing.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  MD5(static_cast<const unsigned char*>(data), size, digest);
#pragma GCC diagnostic pop
  zel::write_digest(digest, output);
  return output;
}
