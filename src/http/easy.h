// easy.h: one transfer of libcurl at a time.
#pragma once

#include <curl/curl.h>
#include <poll.h>

#include <array>
#include <memory>

#include "base/handles.h"
#include "base/sigpipe.h"

namespace zel::http {

// The descriptors that libcurl waits for. A plug-in may have thousands open, and poll takes those too that select's
// sets have no room for.
class WaitSet {
 public:
  WaitSet() noexcept { places_.fill({-1, 0, 0}); }

  // libcurl calls this when it begins or ceases to wait for one.
  static int note(CURL* easy, curl_socket_t fd, int what, void* set, void* unused) noexcept;

  // Until there is something to do for one of them, or the time is over.
  void wait(int most_ms);

  // Has libcurl go on with each. False when it fails.
  [[nodiscard]] bool serve(CURLM* multi, int* running);

 private:
  // A transfer waits for five, with a resolver of libcurl's own for sixteen; new ones come before old ones go.
  std::array<pollfd, 32> places_;
};

// A handle for libcurl's easy options, and what drives its transfers. libcurl cannot be left half-way: unwinding
// would skip its clean-up, and on the router, whose libcurl may have no tables for it, ours too. So a cancelled
// thread ends only while it waits, which happens here and not in libcurl.
class Transfer {
 public:
  Transfer();

  // Whether libcurl could make one. Any thread may call.
  explicit operator bool() const noexcept { return multi_ && easy_; }

  // To set options with.
  CURL* easy() const noexcept { return easy_.get(); }

  // What curl_easy_perform does. A second time it uses the first one's connection again.
  [[nodiscard]] CURLcode perform();

 private:
  [[nodiscard]] bool step();
  void wait();

  // Without signals libcurl leaves SIGPIPE alone, and its older releases write TLS with a plain write, also when a
  // connection is closed at the end.
  const SigpipeGuard guard_;
  WaitSet waits_;
  std::unique_ptr<CURLM, CallToEnd<curl_multi_cleanup>> multi_;
  std::unique_ptr<CURL, CallToEnd<curl_easy_cleanup>> easy_;
};

}  // namespace zel::http
