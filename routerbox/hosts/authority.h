// authority.h: a certificate authority that exists only in this process.
#pragma once
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>
#include <vector>

#include "base/handles.h"

namespace routerbox::hosts {

using Key = std::unique_ptr<EVP_PKEY, zel::Call<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, zel::Call<X509_free>>;

struct Identity {
  Certificate certificate;
  Key key;
};

// All throw Failure.
class Authority {
 public:
  Authority();

  // One for a server of all these names.
  Identity issue(const std::vector<std::string>& names) const;
  // Makes OpenSSL, libcurl and what else looks into this folder (/etc/ssl) trust what is issued here: the bundle
  // certs/ca-certificates.crt, and under the names by which OpenSSL finds it.
  void put_trust(const std::string& folder) const;

 private:
  Identity own_;
};

}  // namespace routerbox::hosts
