// MD5 as text.
#include <openssl/md5.h>

#include "zel/util.h"

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
  char* out = output;
  for (const unsigned char byte : digest) {
    *out++ = "0123456789abcdef"[byte >> 4];
    *out++ = "0123456789abcdef"[byte & 15];
  }
  *out = '\0';
  return output;
}
