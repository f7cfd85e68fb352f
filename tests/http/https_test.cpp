// HTTPS with a certificate that nobody signed but itself.
#include <gtest/gtest.h>
#include <openssl/x509v3.h>

#include "server.h"
#include "zel/http.h"

using test::answer;
using test::Server;

namespace {

template <auto Release>
using Call = zel::Call<Release>;
using Key = std::unique_ptr<EVP_PKEY, Call<EVP_PKEY_free>>;
using Certificate = std::unique_ptr<X509, Call<X509_free>>;
using Extension = std::unique_ptr<X509_EXTENSION, Call<X509_EXTENSION_free>>;
using TlsSettings = std::unique_ptr<SSL_CTX, Call<SSL_CTX_free>>;

// `names` as "IP:127.0.0.1" or "DNS:example".
Certificate self_signed(EVP_PKEY* key, const char* names) {
  Certificate certificate(X509_new());
  X509_set_version(certificate.get(), X509_VERSION_3);
  ASN1_INTEGER_set(X509_get_serialNumber(certificate.get()), 1);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("test"), -1, -1,
                             0);
  X509_set_issuer_name(certificate.get(), name);
  X509_set_pubkey(certificate.get(), key);
  const Extension extension(X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, names));
  X509_add_ext(certificate.get(), extension.get(), -1);
  X509_sign(certificate.get(), key, EVP_sha256());
  return certificate;
}

TlsSettings tls_for(const char* names) {
  const Key key(EVP_EC_gen("P-256"));
  const Certificate certificate = self_signed(key.get(), names);
  TlsSettings settings(SSL_CTX_new(TLS_server_method()));
  SSL_CTX_use_certificate(settings.get(), certificate.get());
  SSL_CTX_use_PrivateKey(settings.get(), key.get());
  return settings;
}

}  // namespace

TEST(Https, OnlyThePostForItTakesASelfSignedCertificate) {
  const TlsSettings tls = tls_for("IP:127.0.0.1");
  const Server server({{answer("200 OK", "secret")}}, tls.get());
  char result[ZEL_HTTP_RESULT_SIZE];
  EXPECT_EQ(HttpGet(result, server.url().c_str(), 1, 1), -1);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(HttpPostBuffer(result, server.url().c_str(), "b", 1, 1, 1), -1);
  EXPECT_EQ(server.requests().size(), 0U);
  EXPECT_EQ(HttpsPostBuffer(result, server.url().c_str(), "b", 1, 1, 1), 0);
  EXPECT_STREQ(result, "secret");
  EXPECT_EQ(server.requests().size(), 1U);
}

TEST(Https, ACertificateOfAnotherHostIsRefused) {
  const TlsSettings tls = tls_for("DNS:elsewhere");
  const Server server({{answer("200 OK", "secret")}}, tls.get());
  char result[ZEL_HTTP_RESULT_SIZE];
  EXPECT_EQ(HttpsPostBuffer(result, server.url().c_str(), "b", 1, 1, 2), -1);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(server.connections(), 2U);
  EXPECT_EQ(server.requests().size(), 0U);
}

TEST(Https, ARedirectIsTakenAndAServerWithoutTlsFails) {
  const TlsSettings tls = tls_for("IP:127.0.0.1");
  const Server server({{"HTTP/1.1 302 Found\r\nLocation: https://there/\r\n\r\n"}}, tls.get());
  char result[ZEL_HTTP_RESULT_SIZE];
  EXPECT_EQ(HttpsPostBuffer(result, server.url().c_str(), "b", 1, 1, 1), 0);
  EXPECT_STREQ(result, "https://there/");

  const Server plain({{answer("200 OK")}});
  const std::string url = "https" + plain.url().substr(4);
  EXPECT_EQ(HttpsPostBuffer(result, url.c_str(), "b", 1, 1, 1), -1);
}

// The plug-in's process must not get a signal for it. A larger body would wait to be asked for.
TEST(Https, AServerThatResetsWhileABodyIsSentOnlyFailsTheTransfer) {
  const TlsSettings tls = tls_for("IP:127.0.0.1");
  const Server server({{"", test::End::kReset, {}, true}}, tls.get());
  const std::string body(1000000, 'b');
  char result[ZEL_HTTP_RESULT_SIZE];
  EXPECT_EQ(HttpsPostBuffer(result, server.url().c_str(), body.data(), 1000000, 1, 20), -1);
  EXPECT_EQ(server.requests().size(), 20U);
}
