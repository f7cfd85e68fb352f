// What libcurl is told, in which order, and what its refusals cause. The program's own curl_easy_setopt takes
// the place of libcurl's and passes on what it notes.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdarg>

#include "server.h"
#include "zel/http.h"

namespace {

std::vector<CURLoption> settings;
size_t refused = SIZE_MAX;  // the number of the setting that fails

constexpr unsigned kGet = 1, kPost = 2, kPostHttps = 4, kPosts = 6, kAll = 7;
constexpr struct {
  CURLoption option;
  unsigned set_by;
  unsigned tested_by;
} kRows[] = {
    {CURLOPT_URL, kAll, kAll},
    {CURLOPT_TIMEOUT, kAll, kAll},
    {CURLOPT_HEADERFUNCTION, kAll, kGet},
    {CURLOPT_WRITEFUNCTION, kAll, kAll},
    {CURLOPT_HEADERDATA, kAll, kGet},
    {CURLOPT_WRITEDATA, kAll, kAll},
    {CURLOPT_NOSIGNAL, kAll, 0},
    {CURLOPT_SSL_VERIFYPEER, kPostHttps, 0},
    {CURLOPT_SSL_VERIFYHOST, kPostHttps, 0},
    {CURLOPT_HTTPHEADER, kAll, kAll},
    {CURLOPT_POST, kPosts, 0},
    {CURLOPT_POSTFIELDS, kPosts, kPosts},
    {CURLOPT_POSTFIELDSIZE, kPosts, kPosts},
};

// Two attempts that never get a 200. The number of requests they make.
size_t requests_of(unsigned method) {
  const test::Server server({{test::answer("500 Oops")}});
  HttpUploader uploader(server.url(), 3, "a=b");
  settings.clear();
  if (method == kGet) uploader.get(9, 2);
  if (method == kPost) uploader.post(9, 2);
  if (method == kPostHttps) uploader.post_https(9, 2);
  return server.requests().size();
}

}  // namespace

CURLcode curl_easy_setopt(CURL* easy, CURLoption option, ...) {
  va_list arguments;
  va_start(arguments, option);
  void* const value = va_arg(arguments, void*);  // a long is passed like a pointer
  va_end(arguments);
  settings.push_back(option);
  if (settings.size() - 1 == refused) return CURLE_OUT_OF_MEMORY;
  static void* const real = dlsym(RTLD_NEXT, "curl_easy_setopt");
  return reinterpret_cast<decltype(curl_easy_setopt)*>(real)(easy, option, value);
}

TEST(HttpOptions, AreSetOnceInOrderAndOnlyTestedOnesFailTheTransferWhenRefused) {
  for (const unsigned method : {kGet, kPost, kPostHttps}) {
    std::vector<CURLoption> all;
    for (const auto& row : kRows) {
      if ((row.set_by & method) == 0) continue;
      refused = all.size();
      all.push_back(row.option);
      EXPECT_EQ(requests_of(method), (row.tested_by & method) != 0 ? 0U : 2U) << row.option;
    }
    refused = SIZE_MAX;
    EXPECT_EQ(requests_of(method), 2U);
    EXPECT_TRUE(settings == all) << method;
  }
}
