#include "http/easy.h"

#include <mutex>

namespace zel::http {

CurlEasy new_easy() {
  // The first handle initialises libcurl, which its older releases do not protect against a second thread.
  static std::mutex one_at_a_time;
  const std::lock_guard<std::mutex> lock(one_at_a_time);
  const CancelLater later;  // half an initialisation would stay for ever
  return CurlEasy(curl_easy_init());
}

}  // namespace zel::http
