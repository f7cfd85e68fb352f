#include "http/options.h"

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

}  // namespace

const char* set_options(CURL* easy, HttpUploader& uploader, Method method, int timeout) noexcept {
  for (const Option& option : kOptions) {
    if ((option.set_by & method) == 0) continue;
    const CURLcode set = option.set(easy, uploader, timeout);
    if (set != CURLE_OK && (option.tested_by & method) != 0) return option.label;
  }
  return nullptr;
}

}  // namespace zel::http
