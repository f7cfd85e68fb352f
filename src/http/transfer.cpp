// A transfer by libcurl: its options, the body of a POST, the attempts.
#include "http/transfer.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "http/easy.h"

namespace zel::http {
namespace {

constexpr unsigned kAll = kGet | kPost | kPostHttps;

struct Option {
  unsigned set_by;     // methods
  unsigned tested_by;  // methods that fail when libcurl refuses it
  const char* label;
  CURLcode (*set)(CURL* easy, HttpUploader& uploader, long timeout);
};

// In the order in which libcurl gets them.
// Kept: the doubled prefixes of two labels, and that only a GET fails for a refused header option.
constexpr Option kOptions[] = {
    {kAll, kAll, "CURLOPT_URL",
     [](CURL* easy, HttpUploader& uploader, long) {
       return curl_easy_setopt(easy, CURLOPT_URL, uploader.url.c_str());
     }},
    {kAll, kAll, "CURLOPT_TIMEOUT",
     [](CURL* easy, HttpUploader&, long timeout) {
       return curl_easy_setopt(easy, CURLOPT_TIMEOUT, timeout);
     }},
    {kAll, kGet, "CURLOPT_CURLOPT_HEADERFUNCTION",
     [](CURL* easy, HttpUploader&, long) {
       return curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, &HttpUploader::WriteHeaderCB);
     }},
    {kAll, kAll, "CURLOPT_CURLOPT_WRITEFUNCTION",
     [](CURL* easy, HttpUploader&, long) {
       return curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, &HttpUploader::WriteBodyCB);
     }},
    {kAll, kGet, "CURLOPT_HEADERDATA",
     [](CURL* easy, HttpUploader& uploader, long) {
       return curl_easy_setopt(easy, CURLOPT_HEADERDATA, &uploader);
     }},
    {kAll, kAll, "CURLOPT_WRITEDATA",
     [](CURL* easy, HttpUploader& uploader, long) {
       return curl_easy_setopt(easy, CURLOPT_WRITEDATA, &uploader);
     }},
    {kAll, 0, "CURLOPT_NOSIGNAL",
     [](CURL* easy, HttpUploader&, long) { return curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L); }},
    {kPostHttps, 0, "CURLOPT_SSL_VERIFYPEER",
     [](CURL* easy, HttpUploader&, long) { return curl_easy_setopt(easy, CURLOPT_SSL_VERIFYPEER, 0L); }},
    // Releases of libcurl that refuse 1 stay at their default, which checks the host too.
    {kPostHttps, 0, "CURLOPT_SSL_VERIFYHOST",
     [](CURL* easy, HttpUploader&, long) { return curl_easy_setopt(easy, CURLOPT_SSL_VERIFYHOST, 1L); }},
    {kAll, kAll, "CURLOPT_HTTPHEADER",
     [](CURL* easy, HttpUploader&, long) {
       return curl_easy_setopt(easy, CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
     }},
};

void require(CURLcode set, const char* label) {
  if (set == CURLE_OK) return;
  throw std::runtime_error(std::string("Curl set_opt error! [opt]:[") + label + "]");
}

void set_options(CURL* easy, HttpUploader& uploader, Method method, int timeout) {
  for (const Option& option : kOptions) {
    if ((option.set_by & method) == 0) continue;
    const CURLcode set = option.set(easy, uploader, timeout);
    if ((option.tested_by & method) != 0) require(set, option.label);
  }
}

struct Body {
  std::unique_ptr<char[]> read;  // what `bytes` points to when they came from a file
  const void* bytes;
  size_t size;
};

Body body_of(const UploadSource& source) {
  if (source.mode != kFromFile) return {nullptr, source.data, source.length};
  if (source.file == nullptr) throw std::runtime_error("The file to post is null!");
  std::unique_ptr<char[]> bytes(new char[source.length]);  // not cleared: it may be large
  const size_t size = fread(bytes.get(), 1, source.length, source.file);
  const void* const first = bytes.get();
  return {std::move(bytes), first, size};
}

// Without a body libcurl would read one from standard input; a size that is negative as a long it would take
// as "up to the NUL".
void set_body(CURL* easy, const Body& body) {
  if (body.bytes == nullptr && body.size != 0) require(CURLE_BAD_FUNCTION_ARGUMENT, "CURLOPT_POSTFIELDS");
  if (body.size > static_cast<unsigned long>(LONG_MAX)) {
    require(CURLE_BAD_FUNCTION_ARGUMENT, "CURLOPT_POSTFIELDSIZE");
  }
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  require(curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.bytes), "CURLOPT_POSTFIELDS");
  require(curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size)),
          "CURLOPT_POSTFIELDSIZE");
}

void attempt(Transfer& transfer, HttpUploader& uploader, int follow_redirect, int max_retry) {
  int attempts = 0;
  do {
    uploader.ReInit();
    static_cast<void>(transfer.perform());  // Kept: its result does not count; the header alone decides.
    if (uploader.AnalyseResult(follow_redirect) == 0) return;
    ++attempts;
  } while (attempts < max_retry);

  char text[512];
  snprintf(text, sizeof text, "Retry times exceed max_retry! [max_retry]: [%d]!", max_retry);
  throw std::runtime_error(text);
}

}  // namespace

void transfer(HttpUploader& uploader, Method method, int timeout, int max_retry) {
  Body body{};  // outlives the handle, which points to it
  Transfer handle;
  if (!handle)
    throw std::runtime_error(method == kGet ? "could not init the curl" : "could not init the curl!");
  set_options(handle.easy(), uploader, method, timeout);
  if (method != kGet) {
    uploader.ReInit();
    body = body_of(uploader.source);
    set_body(handle.easy(), body);
  }
  attempt(handle, uploader, method == kPostHttps ? 1 : 0, max_retry);
}

}  // namespace zel::http
