// digest.h: SHA-256 of what comes in pieces.
#pragma once
#include <openssl/evp.h>

#include <cstdio>
#include <memory>
#include <string>

#include "../support/failure.h"
#include "base/handles.h"

namespace routerbox::pack {

class Digest {
 public:
  Digest() : state_(EVP_MD_CTX_new()) {
    if (!state_ || EVP_DigestInit_ex(state_.get(), EVP_sha256(), nullptr) != 1)
      throw Failure("cannot make a SHA-256 digest");
  }

  void take(const void* data, size_t size) { EVP_DigestUpdate(state_.get(), data, size); }

  std::string text() {
    unsigned char bytes[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    EVP_DigestFinal_ex(state_.get(), bytes, &size);
    std::string text;
    for (unsigned int i = 0; i < size; ++i) {
      char digits[3];
      std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
      text += digits;
    }
    return text;
  }

 private:
  std::unique_ptr<EVP_MD_CTX, zel::Call<EVP_MD_CTX_free>> state_;
};

}  // namespace routerbox::pack
