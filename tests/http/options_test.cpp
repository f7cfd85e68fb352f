// What libcurl is told, in which order, and what its refusals cause. The program's own curl_easy_* take the
// place of libcurl's, note the calls, and pass them on.
#include <curl/curl.h>
#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdarg>
#include <map>

#include "http/transfer.h"
#include "server.h"

using test::answer;
using test::End;
using test::Server;
using zel::http::Method;

namespace {

struct Setting {
  CURLoption option;
  void* value;
};

std::vector<Setting> settings;
size_t refused = SIZE_MAX;  // the number of the setting that fails
bool no_handles = false;
bool performing = false;  // libcurl makes handles of its own then
int open_handles = 0;

void reset() {
  settings.clear();
  refused = SIZE_MAX;
  no_handles = false;
  open_handles = 0;
}

template <class Function>
Function* real(Function*, const char* name) {
  static const char* const version = curl_version();  // else nothing here needed the library
  EXPECT_NE(version, nullptr);
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

struct Row {
  CURLoption option;
  unsigned set_by;
  unsigned tested_by;
  const char* label;
};

constexpr unsigned kPosts = zel::http::kPost | zel::http::kPostHttps;
constexpr unsigned kAll = zel::http::kGet | kPosts;
constexpr Row kRows[] = {
    {CURLOPT_URL, kAll, kAll, "CURLOPT_URL"},
    {CURLOPT_TIMEOUT, kAll, kAll, "CURLOPT_TIMEOUT"},
    {CURLOPT_HEADERFUNCTION, kAll, zel::http::kGet, "CURLOPT_CURLOPT_HEADERFUNCTION"},
    {CURLOPT_WRITEFUNCTION, kAll, kAll, "CURLOPT_CURLOPT_WRITEFUNCTION"},
    {CURLOPT_HEADERDATA, kAll, zel::http::kGet, "CURLOPT_HEADERDATA"},
    {CURLOPT_WRITEDATA, kAll, kAll, "CURLOPT_WRITEDATA"},
    {CURLOPT_NOSIGNAL, kAll, 0, nullptr},
    {CURLOPT_SSL_VERIFYPEER, zel::http::kPostHttps, 0, nullptr},
    {CURLOPT_SSL_VERIFYHOST, zel::http::kPostHttps, 0, nullptr},
    {CURLOPT_HTTPHEADER, kAll, kAll, "CURLOPT_HTTPHEADER"},
    {CURLOPT_POST, kPosts, 0, nullptr},
    {CURLOPT_POSTFIELDS, kPosts, kPosts, "CURLOPT_POSTFIELDS"},
    {CURLOPT_POSTFIELDSIZE, kPosts, kPosts, "CURLOPT_POSTFIELDSIZE"},
};
constexpr Method kMethods[] = {zel::http::kGet, zel::http::kPost, zel::http::kPostHttps};

std::vector<Row> rows_of(Method method) {
  std::vector<Row> rows;
  for (const Row& row : kRows) {
    if ((row.set_by & method) != 0) rows.push_back(row);
  }
  return rows;
}

// The text of what the transfer throws; "" when it succeeds.
std::string thrown(HttpUploader& uploader, Method method, int max_retry) {
  try {
    zel::http::transfer(uploader, method, 1, max_retry);
  } catch (const std::runtime_error& e) {
    return e.what();
  }
  return "";
}

}  // namespace

CURL* curl_easy_init() {
  if (no_handles) return nullptr;
  if (!performing) ++open_handles;
  return real(&curl_easy_init, "curl_easy_init")();
}

void curl_easy_cleanup(CURL* easy) {
  --open_handles;
  real(&curl_easy_cleanup, "curl_easy_cleanup")(easy);
}

CURLcode curl_easy_perform(CURL* easy) {
  performing = true;
  const CURLcode code = real(&curl_easy_perform, "curl_easy_perform")(easy);
  performing = false;
  return code;
}

CURLcode curl_easy_setopt(CURL* easy, CURLoption option, ...) {
  va_list arguments;
  va_start(arguments, option);
  void* const value = va_arg(arguments, void*);  // a long is passed like a pointer
  va_end(arguments);
  settings.push_back({option, value});
  if (settings.size() - 1 == refused) return CURLE_OUT_OF_MEMORY;
  return real(&curl_easy_setopt, "curl_easy_setopt")(easy, option, value);
}

TEST(HttpOptions, AreSetOnceInOrderWithTheirValues) {
  for (const Method method : kMethods) {
    const Server server({{answer("500 Oops"), End::kKeep}, {answer("200 OK"), End::kKeep}});
    const std::string body = "a=b";
    HttpUploader uploader(server.url().c_str(), 3, body.data());
    reset();
    EXPECT_EQ(thrown(uploader, method, 2), "");
    const std::vector<Row> rows = rows_of(method);
    ASSERT_EQ(settings.size(), rows.size());
    for (size_t at = 0; at < rows.size(); ++at) EXPECT_EQ(settings[at].option, rows[at].option) << at;
    const std::map<CURLoption, uintptr_t> values = {
        {CURLOPT_TIMEOUT, 1},        {CURLOPT_NOSIGNAL, 1},
        {CURLOPT_HTTPHEADER, 0},     {CURLOPT_SSL_VERIFYPEER, 0},
        {CURLOPT_SSL_VERIFYHOST, 1}, {CURLOPT_POSTFIELDS, reinterpret_cast<uintptr_t>(body.data())},
        {CURLOPT_POSTFIELDSIZE, 3}};
    for (const Setting& setting : settings) {
      const auto wanted = values.find(setting.option);
      if (wanted == values.end()) continue;
      EXPECT_EQ(reinterpret_cast<uintptr_t>(setting.value), wanted->second) << setting.option;
    }
    EXPECT_EQ(open_handles, 0);
  }
}

TEST(HttpOptions, OnlyTestedOnesFailTheTransferWhenRefused) {
  const Server server({{answer("200 OK"), End::kKeep}});
  for (const Method method : kMethods) {
    const std::vector<Row> rows = rows_of(method);
    for (size_t at = 0; at < rows.size(); ++at) {
      const bool tested = (rows[at].tested_by & method) != 0;
      HttpUploader uploader(server.url().c_str(), 1, "b");
      reset();
      refused = at;
      const std::string text = thrown(uploader, method, 1);
      const std::string refusal = tested ? rows[at].label : "";
      EXPECT_EQ(text == "Curl set_opt error! [opt]:[" + refusal + "]", tested) << text;
      EXPECT_EQ(settings.size(), tested ? at + 1 : rows.size()) << method << " " << at;
      EXPECT_EQ(open_handles, 0);
    }
  }
}

TEST(HttpOptions, FailuresSayWhyAndLeaveNoHandle) {
  const Server server({{answer("500 Oops"), End::kKeep}});
  HttpUploader uploader(server.url().c_str(), 1, "b");
  reset();
  for (const Method method : kMethods) {
    EXPECT_EQ(thrown(uploader, method, -7), "Retry times exceed max_retry! [max_retry]: [-7]!");
    no_handles = true;
    const bool get = method == zel::http::kGet;
    EXPECT_EQ(thrown(uploader, method, 1), get ? "could not init the curl" : "could not init the curl!");
    no_handles = false;
  }
  EXPECT_EQ(open_handles, 0);
}

TEST(HttpOptions, WithoutAHandleTheCallsFailWithAnEmptyResult) {
  reset();
  no_handles = true;
  char result[ZEL_HTTP_RESULT_SIZE] = "old";
  EXPECT_EQ(HttpGet(result, "http://127.0.0.1/", 1, 1), -1);
  EXPECT_STREQ(result, "");
  EXPECT_EQ(HttpPostBuffer(result, "http://127.0.0.1/", "b", 1, 1, 1), -1);
  EXPECT_STREQ(result, "");
}
