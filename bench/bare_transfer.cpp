#include "bare_transfer.h"

#include <curl/curl.h>

#include <algorithm>
#include <cstring>

namespace {

using bare_transfer::Text;

size_t append(char* data, size_t size, size_t number, void* to) {
  Text& text = *static_cast<Text*>(to);
  const size_t taken = std::min(size * number, sizeof text.bytes - 1 - text.length);
  std::memcpy(text.bytes + text.length, data, taken);
  text.length += taken;
  text.bytes[text.length] = '\0';
  return size * number;
}

}  // namespace

bool bare_transfer::get(const char* url, int timeout_s, Text& body) {
  Text header;
  long status = 0;
  body.length = 0;
  CURL* const easy = curl_easy_init();
  curl_easy_setopt(easy, CURLOPT_URL, url);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, static_cast<long>(timeout_s));
  curl_easy_setopt(easy, CURLOPT_HEADERFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_WRITEFUNCTION, append);
  curl_easy_setopt(easy, CURLOPT_HEADERDATA, &header);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, &body);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(easy, CURLOPT_HTTPHEADER, nullptr);
  curl_easy_perform(easy);
  curl_easy_getinfo(easy, CURLINFO_RESPONSE_CODE, &status);
  curl_easy_cleanup(easy);
  return status == 200;
}
