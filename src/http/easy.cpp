#include "http/easy.h"

#include <sys/select.h>

#include <mutex>

#include "base/in_child.h"
#include "base/uncancelled.h"

namespace {

// The first handle initialises libcurl, which its older releases do not protect against a second thread.
zel::Mutex one_at_a_time;

// A handle among those that are driven, as long as its transfer takes.
class Driven {
 public:
  Driven(CURLM* multi, CURL* easy)
      : multi_(multi), easy_(easy), result_(curl_multi_add_handle(multi, easy)) {}
  ~Driven() {
    const zel::Uncancelled uncancelled;
    curl_multi_remove_handle(multi_, easy_);
  }
  Driven(const Driven&) = delete;
  Driven& operator=(const Driven&) = delete;
  explicit operator bool() const noexcept { return result_ == CURLM_OK; }

 private:
  CURLM* const multi_;
  CURL* const easy_;
  const CURLMcode result_;
};

// Does all that can be done without a wait. Returns whether there is more to do.
bool step(CURLM* multi) {
  const zel::Uncancelled uncancelled;
  int running = 0;
  return curl_multi_perform(multi, &running) == CURLM_OK && running > 0;
}

// Waits until there is something to do. Of descriptors that select cannot take nothing is known, nor while an older
// libcurl looks up a name: then it is asked again soon.
void wait(CURLM* multi) {
  constexpr long kLong = 1000, kSoon = 10;  // ms
  fd_set in, out, failed;
  for (fd_set* set : {&in, &out, &failed}) FD_ZERO(set);
  int highest = -1;
  long timeout = -1;
  curl_multi_fdset(multi, &in, &out, &failed, &highest);
  curl_multi_timeout(multi, &timeout);
  const long most = highest < 0 ? kSoon : kLong;
  if (timeout < 0 || timeout > most) timeout = most;
  timeval limit = {timeout / 1000, static_cast<suseconds_t>(timeout % 1000 * 1000)};
  select(highest + 1, &in, &out, &failed, &limit);
}

}  // namespace

namespace zel::http {

Transfer::Transfer() {
  const std::lock_guard lock(one_at_a_time);
  const Uncancelled uncancelled;  // half an initialisation would stay for ever
  easy_.reset(curl_easy_init());
  multi_.reset(curl_multi_init());
}

CURLcode Transfer::perform() {
  const Driven driven(multi_.get(), easy_.get());
  if (!driven) return CURLE_OUT_OF_MEMORY;
  while (step(multi_.get())) wait(multi_.get());
  int left = 0;
  const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left);
  return message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
}

}  // namespace zel::http
