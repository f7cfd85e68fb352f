// What libcurl is told, in which order, and what its refusals cause. The program's own curl_easy_setopt takes
// the place of libcurl's and passes on what it notes.
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdarg>

#include "server.h"
#include "zel/http.h"

namespace {

std::vector<CURLoption> settings;
size_t refused = SIZE_MAX;  // the number of the setting that fails

constexpr unsigned kGet = 1, kPost = 2, kPostHttps = 4, kPosts = 6, kAll = 7;
constexpr struct Row {
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
  constexpr decltype(&HttpUploader::get) kMethods[] = {&HttpUploader::get, &HttpUploader::post,
                                                       &HttpUploader::post_https};
  for (const int method : {0, 1, 2}) {
    std::vector<Row> rows;
    std::copy_if(std::begin(kRows), std::end(kRows), std::back_inserter(rows),
                 [&](const Row& row) { return (row.set_by >> method & 1) != 0; });
    for (refused = 0; refused <= rows.size(); ++refused) {  // the last time none is
      const test::Server server({{test::answer("500 Oops")}});
      HttpUploader uploader(server.url(), 3, "a=b");
      settings.clear();
      EXPECT_EQ((uploader.*kMethods[method])(9, 2), -1);
      const bool fails = refused < rows.size() && (rows[refused].tested_by >> method & 1) != 0;
      EXPECT_EQ(server.requests().size(), fails ? 0U : 2U) << refused;
      ASSERT_EQ(settings.size(), fails ? refused + 1 : rows.size());
      for (size_t at = 0; at < settings.size(); ++at) EXPECT_EQ(settings[at], rows[at].option);
    }
  }
}
