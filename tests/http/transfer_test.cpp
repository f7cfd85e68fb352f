// Transfers against servers of every kind.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <zel/http.h>
#include "support/http_server.h"

using namespace test;
using namespace std::chrono_literals;

namespace {

enum Call : unsigned { kGet = 1, kPost = 2, kPostHttps = 4, kAll = 7 };
const std::string kBody("a\0b", 3);
constexpr Call kCalls[] = {kGet, kPost, kPostHttps};

int transfer(Call call, char* result, const char* url, int timeout, int max_retry) {
  if (call == kGet) return HttpGet(result, url, timeout, max_retry);
  return (call == kPost ? HttpPostBuffer : HttpsPostBuffer)(result, url, kBody.data(), 3, timeout, max_retry);
}

template <class Type, auto Release>
using Owned = std::unique_ptr<Type, zel::Call<Release>>;

Owned<SSL_CTX, SSL_CTX_free> self_signed(const char* host) {
  const Owned<EVP_PKEY, EVP_PKEY_free> key(EVP_PKEY_Q_keygen(nullptr, nullptr, "EC", "P-256"));
  const Owned<X509, X509_free> certificate(X509_new());
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  const auto* const text = reinterpret_cast<const unsigned char*>(host);
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, text, -1, -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -3600);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_set_pubkey(certificate.get(), key.get());
  X509_sign(certificate.get(), key.get(), EVP_sha256());
  Owned<SSL_CTX, SSL_CTX_free> tls(SSL_CTX_new(TLS_server_method()));
  SSL_CTX_use_certificate(tls.get(), certificate.get());
  SSL_CTX_use_PrivateKey(tls.get(), key.get());
  return tls;
}

}  // namespace

TEST(HttpTransfer, TheLastAttemptsHeaderDecides) {
  const std::string redirect = "HTTP/1.1 302 Found\r\nLocation: /there\r\nContent-Length: 2\r\n\r\nno";
  const std::string started = "HTTP/1.1 200 OK\r\nContent-Length: 9\r\n\r\npart";
  const Answer bad{answer("500 Oops", "all bad")};
  const Answer good{answer("200 OK", "good")};
  const struct {
    const char* why;
    std::vector<Answer> answers;
    unsigned calls;
    int code;
    std::string text;
    int max_retry = 1;
    size_t requests = 1;
  } kCases[] = {
      {"success", {good}, kAll, 0, "good"},
      {"success of an older server", {{"HTTP/1.0 200 OK\r\n\r\nold", End::kClose}}, kAll, 0, "old"},
      {"moved", {{"HTTP/1.1 301 Moved\r\nLocation: /there\r\n\r\n", End::kClose}}, kAll, -1, ""},
      {"a redirect", {{redirect}}, kGet | kPost, -1, "no"},
      {"a redirect where it counts", {{redirect}}, kPostHttps, 0, "/there"},
      {"a redirect to nowhere", {{answer("302 Found", "no")}}, kAll, -1, "no"},
      {"an interim answer", {{"HTTP/1.1 100 Continue\r\n\r\n" + good.bytes}}, kAll, 0, "good"},
      {"an HTTP/2 status line", {{"HTTP/2 200\r\nContent-Length: 1\r\n\r\nx"}}, kAll, -1, "x"},
      {"no HTTP", {{"what?\r\n\r\n", End::kClose}}, kAll, -1, ""},
      {"a NUL ends the text", {{answer("200 OK", std::string("ab\0cd", 5))}}, kAll, 0, "ab"},

      {"closed at once", {{"", End::kClose}}, kAll, -1, ""},
      {"reset at once", {{"", End::kReset}}, kAll, -1, ""},
      {"hangs at once", {{"", End::kHang}}, kAll, -1, ""},
      {"closed in the body", {{started, End::kClose}}, kAll, 0, "part"},
      {"hangs in the body", {{started, End::kHang}}, kAll, 0, "part"},
      {"trickles in time", {{good.bytes, End::kKeep, 1ms}}, kAll, 0, "good"},
      {"trickles for too long", {{answer("200 OK, but slowly, slowly"), End::kClose, 40ms}}, kGet, -1, ""},

      {"a negative number makes one attempt", {bad, good}, kAll, -1, "all bad", -3},
      {"success on the last one, no rest of a longer body", {bad, bad, good}, kAll, 0, "good", 3, 3},
      {"all fail, the last body stays", {bad, {answer("404 No", "end")}}, kAll, -1, "end", 3, 3},
      {"closed, reset, answered", {{"", End::kClose}, {"", End::kReset}, good}, kAll, 0, "good", 3, 3},
  };
  for (const auto& c : kCases) {
    for (const Call call : kCalls) {
      if ((c.calls & call) == 0) continue;
      const Server server(c.answers);
      char result[ZEL_HTTP_RESULT_SIZE] = "untouched";
      EXPECT_EQ(transfer(call, result, server.url(), 1, c.max_retry), c.code) << c.why;
      EXPECT_EQ(result, c.text) << c.why;
      const std::vector<std::string> requests = server.requests();
      EXPECT_EQ(requests.size(), c.requests) << c.why;
      EXPECT_TRUE(requests.back().ends_with(call == kGet ? std::string("\r\n\r\n") : kBody)) << c.why;
    }
  }
}

TEST(HttpTransfer, BodiesAreCutToTheResultAndToTheObject) {
  for (const size_t size : {9999U, 10000U, 204800U, 204801U}) {
    const std::string body = std::string(size - 1, 'x') + "y";
    const Server server({{answer("200 OK", body)}});
    char result[ZEL_HTTP_RESULT_SIZE];
    EXPECT_EQ(HttpGet(result, server.url(), 1, 1), 0) << size;
    EXPECT_TRUE(result == body.substr(0, 9999)) << size;
    const auto uploader = std::make_unique<HttpUploader>(server.url());
    EXPECT_EQ(uploader->get(1, 1), 0) << size;
    EXPECT_TRUE(uploader->body == body.substr(0, ZEL_HTTP_TEXT_MAX)) << size;
  }
}

TEST(HttpTransfer, RefusedArgumentsMakeNoRequestAndLeaveTheResultButLibcurlsRefusalsEmptyIt) {
  const Server server({{answer("200 OK", "new")}});
  char result[ZEL_HTTP_RESULT_SIZE] = "untouched";
  for (const Call call : kCalls) {
    EXPECT_EQ(transfer(call, nullptr, server.url(), 1, 1), -1);
    EXPECT_EQ(transfer(call, result, nullptr, 1, 1), -1);
  }
  for (const auto post : {HttpPostBuffer, HttpsPostBuffer}) {
    EXPECT_EQ(post(result, server.url(), "x", 0, 1, 1), -1);
    EXPECT_EQ(post(result, server.url(), nullptr, 1, 1, 1), -1);
  }
  EXPECT_STREQ(result, "untouched");
  const std::pair<const char*, int> refused[] = {{"", 1}, {"http://127.0.0.1:1/", 1}, {server.url(), -1}};
  for (const auto& [to, timeout] : refused) {
    for (const Call call : kCalls) EXPECT_EQ(transfer(call, result, to, timeout, 2), -1) << to;
    EXPECT_STREQ(result, "") << to;
  }
  EXPECT_EQ(server.requests().size(), 0U);
  EXPECT_THROW(HttpUploader(nullptr, 0, nullptr), std::invalid_argument);
  EXPECT_THROW(HttpUploader("u", 0, "b"), std::runtime_error);
  EXPECT_THROW(HttpUploader("u", 1, nullptr), std::runtime_error);
}

TEST(HttpTransfer, OnlyThePostForHttpsTakesASelfSignedCertificateAndOnlyOfItsHost) {
  const auto tls = self_signed("127.0.0.1");
  const auto tls_elsewhere = self_signed("elsewhere");
  const Server server({{answer("200 OK", "secret")}}, tls.get());
  const Server elsewhere({{answer("200 OK", "secret")}}, tls_elsewhere.get());
  char result[ZEL_HTTP_RESULT_SIZE];
  EXPECT_EQ(transfer(kGet, result, server.url(), 1, 1), -1);
  EXPECT_EQ(transfer(kPost, result, server.url(), 1, 1), -1);
  EXPECT_EQ(transfer(kPostHttps, result, elsewhere.url(), 1, 1), -1);
  EXPECT_EQ(transfer(kPostHttps, result, server.url(), 1, 1), 0);
  EXPECT_STREQ(result, "secret");
}

TEST(HttpTransfer, WaitsForDescriptorsThatSelectHasNoRoomFor) {
  rlimit limit;
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  while (dup(0) < FD_SETSIZE) continue;
  const Server server({{answer("200 OK", "good"), End::kKeep, 100ms, 10}});
  rusage before, after;
  char result[ZEL_HTTP_RESULT_SIZE];
  getrusage(RUSAGE_THREAD, &before);
  EXPECT_EQ(HttpGet(result, server.url(), 5, 1), 0);
  getrusage(RUSAGE_THREAD, &after);
  EXPECT_STREQ(result, "good");
  // An emulator's own waits are counted, too.
  const bool emulated = *TEST_EMULATOR != '\0';
  EXPECT_TRUE(emulated || after.ru_nvcsw - before.ru_nvcsw < 20) << "sleeps until there is something";
}
