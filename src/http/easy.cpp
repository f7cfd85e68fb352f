#include "http/easy.h"

#include <mutex>

#include "base/in_child.h"
#include "base/uncancelled.h"

namespace zel::http {

CurlEasy new_easy() {
  // The first handle initialises libcurl, which its older releases do not protect against a second thread.
  static Mutex one_at_a_time;
  const std::lock_guard lock(one_at_a_time);
  const Uncancelled uncancelled;  // half an initialisation would stay for ever
  return CurlEasy(curl_easy_init());
}

}  // namespace zel::http
