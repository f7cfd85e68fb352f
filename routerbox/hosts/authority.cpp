#include "authority.h"

#include <openssl/bio.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rand.h>
#include <openssl/x509v3.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "../support/io.h"

namespace routerbox::hosts {
namespace {

using Extension = std::unique_ptr<X509_EXTENSION, zel::Call<X509_EXTENSION_free>>;
using Bio = std::unique_ptr<BIO, zel::Call<BIO_free_all>>;

// Wide enough for programs under test whose clock is set wrong.
constexpr long kYear = 365L * 24 * 3600;
constexpr long kValidBefore = -20 * kYear, kValidAfter = 20 * kYear;

void need(bool done, const char* step) {
  if (done) return;
  char text[256];
  ERR_error_string_n(ERR_get_error(), text, sizeof text);
  throw Failure(std::string("cannot ") + step + ": " + text);
}

Key make_key() {
  Key key(EVP_EC_gen("P-256"));
  need(key != nullptr, "make a key");
  return key;
}

struct ExtensionText {
  int kind;
  std::string value;
};

// With what all certificates have; not signed.
Certificate make_certificate(const Key& key, const char* name) {
  Certificate certificate(X509_new());
  X509* const x = certificate.get();
  need(x != nullptr && X509_set_version(x, X509_VERSION_3) == 1, "make a certificate");
  uint64_t serial = 0;
  need(RAND_bytes(reinterpret_cast<unsigned char*>(&serial), sizeof serial) == 1 &&
           ASN1_INTEGER_set_uint64(X509_get_serialNumber(x), serial >> 1) == 1,
       "number a certificate");
  need(X509_gmtime_adj(X509_getm_notBefore(x), kValidBefore) != nullptr &&
           X509_gmtime_adj(X509_getm_notAfter(x), kValidAfter) != nullptr,
       "date a certificate");
  need(X509_NAME_add_entry_by_txt(X509_get_subject_name(x), "CN", MBSTRING_UTF8,
                                  reinterpret_cast<const unsigned char*>(name), -1, -1, 0) == 1 &&
           X509_set_pubkey(x, key.get()) == 1,
       "name a certificate");
  return certificate;
}

void sign(X509* certificate, X509* issuer, EVP_PKEY* key, const std::vector<ExtensionText>& extensions) {
  need(X509_set_issuer_name(certificate, X509_get_subject_name(issuer)) == 1, "name an issuer");
  X509V3_CTX context;
  X509V3_set_ctx_nodb(&context);
  X509V3_set_ctx(&context, issuer, certificate, nullptr, nullptr, 0);
  for (const ExtensionText& row : extensions) {
    const Extension extension(X509V3_EXT_conf_nid(nullptr, &context, row.kind, row.value.c_str()));
    need(extension != nullptr && X509_add_ext(certificate, extension.get(), -1) == 1, "extend a certificate");
  }
  need(X509_sign(certificate, key, EVP_sha256()) > 0, "sign a certificate");
}

std::string pem_of(X509* certificate) {
  const Bio memory(BIO_new(BIO_s_mem()));
  char* text = nullptr;
  need(memory != nullptr && PEM_write_bio_X509(memory.get(), certificate) == 1, "write a certificate");
  const long length = BIO_get_mem_data(memory.get(), &text);
  return {text, static_cast<size_t>(length)};
}

void link_to(const std::string& target, const std::string& link) {
  std::error_code ignored;
  std::filesystem::remove(link, ignored);
  if (symlink(target.c_str(), link.c_str()) != 0) fail_errno("cannot make the link " + link);
}

}  // namespace

Authority::Authority() {
  own_.key = make_key();
  own_.certificate = make_certificate(own_.key, "router box");
  X509* const own = own_.certificate.get();
  sign(own, own, own_.key.get(),
       {{NID_basic_constraints, "critical,CA:TRUE"},
        {NID_key_usage, "critical,keyCertSign,cRLSign"},
        {NID_subject_key_identifier, "hash"}});
}

Identity Authority::issue(const std::vector<std::string>& names) const {
  Identity identity;
  identity.key = make_key();
  identity.certificate = make_certificate(identity.key, "outside hosts of the router box");
  std::string alternatives;
  for (const std::string& name : names) alternatives += (alternatives.empty() ? "DNS:" : ",DNS:") + name;
  sign(identity.certificate.get(), own_.certificate.get(), own_.key.get(),
       {{NID_basic_constraints, "critical,CA:FALSE"},
        {NID_key_usage, "critical,digitalSignature"},
        {NID_ext_key_usage, "serverAuth"},
        {NID_authority_key_identifier, "keyid"},
        {NID_subject_alt_name, alternatives}});
  return identity;
}

void Authority::put_trust(const std::string& folder) const {
  constexpr const char* kBundle = "ca-certificates.crt";
  const std::string certificates = folder + "/certs";
  if (!std::filesystem::is_directory(certificates)) make_folder(certificates);
  write_file(certificates + "/" + kBundle, pem_of(own_.certificate.get()), 0644);
  char hash[16];
  std::snprintf(hash, sizeof hash, "%08lx.0", X509_subject_name_hash(own_.certificate.get()));
  link_to(kBundle, certificates + "/" + hash);
  link_to(std::string("certs/") + kBundle, folder + "/cert.pem");
}

}  // namespace routerbox::hosts
