#include "http/easy.h"

#include <algorithm>
#include <mutex>

#include "base/in_child.h"
#include "base/uncancelled.h"

namespace {

// The first handle initialises libcurl, which its older releases do not protect against a second thread.
zel::Mutex one_at_a_time;

// A handle among those of which libcurl makes the transfers, until its own is done or given up.
class ActiveHandle {
 public:
  ActiveHandle(CURLM* multi, CURL* easy)
      : multi_(multi), easy_(easy), result_(curl_multi_add_handle(multi, easy)) {}
  ~ActiveHandle() {
    const zel::Uncancelled uncancelled;
    curl_multi_remove_handle(multi_, easy_);
  }
  ActiveHandle(const ActiveHandle&) = delete;
  ActiveHandle& operator=(const ActiveHandle&) = delete;
  explicit operator bool() const noexcept { return result_ == CURLM_OK; }

 private:
  CURLM* const multi_;
  CURL* const easy_;
  const CURLMcode result_;
};

short events_of(int what) noexcept {
  return static_cast<short>(((what & CURL_POLL_IN) != 0 ? POLLIN : 0) |
                            ((what & CURL_POLL_OUT) != 0 ? POLLOUT : 0));
}

}  // namespace

namespace zel::http {

int WaitSet::note(CURL* /*easy*/, curl_socket_t fd, int what, void* set, void* /*unused*/) noexcept {
  auto& places = static_cast<WaitSet*>(set)->places_;
  const auto place_of = [&](curl_socket_t wanted) {
    return std::find_if(places.begin(), places.end(), [&](const pollfd& each) { return each.fd == wanted; });
  };
  auto place = place_of(fd);
  if (place == places.end()) place = place_of(-1);
  if (place == places.end()) return -1;
  const bool waits = what == CURL_POLL_IN || what == CURL_POLL_OUT || what == CURL_POLL_INOUT;
  *place = {waits ? fd : -1, events_of(what), 0};
  return 0;
}

void WaitSet::wait(int most_ms) {
  poll(places_.data(), places_.size(), most_ms);
}

bool WaitSet::serve(CURLM* multi, int* running) {
  for (const pollfd& each : places_) {  // libcurl changes them meanwhile, and looks itself which are ready
    if (each.fd >= 0 && curl_multi_socket_action(multi, each.fd, 0, running) != CURLM_OK) return false;
  }
  return curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, running) == CURLM_OK;
}

Transfer::Transfer() {
  const std::lock_guard lock(one_at_a_time);
  const Uncancelled uncancelled;  // half an initialisation would stay for ever
  easy_.reset(curl_easy_init());
  multi_.reset(curl_multi_init());
  if (!multi_) return;
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETFUNCTION, &WaitSet::note);
  curl_multi_setopt(multi_.get(), CURLMOPT_SOCKETDATA, &waits_);
}

// Does all that can be done without a wait. Returns whether there is more to do.
bool Transfer::step() {
  const Uncancelled uncancelled;
  int running = 0;
  return waits_.serve(multi_.get(), &running) && running > 0;
}

// Once a second at the least, for progress to be reported while nothing comes.
void Transfer::wait() {
  constexpr long kMost = 1000;  // ms
  long timeout = -1;
  curl_multi_timeout(multi_.get(), &timeout);
  waits_.wait(static_cast<int>(timeout < 0 ? kMost : std::min(timeout, kMost)));
}

CURLcode Transfer::perform() {
  const ActiveHandle transfer(multi_.get(), easy_.get());
  if (!transfer) return CURLE_OUT_OF_MEMORY;
  while (step()) wait();
  int left = 0;
  const CURLMsg* const message = curl_multi_info_read(multi_.get(), &left);
  return message != nullptr ? message->data.result : CURLE_OUT_OF_MEMORY;
}

}  // namespace zel::http
