// easy.h: one transfer of libcurl at a time.
#pragma once

#include <curl/curl.h>

#include <memory>

#include "base/handles.h"
#include "base/sigpipe.h"

namespace zel::http {

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
  // Without signals libcurl leaves SIGPIPE alone, and its older releases write TLS with a plain write, also when a
  // connection is closed at the end.
  const SigpipeGuard guard_;
  std::unique_ptr<CURLM, CallToEnd<curl_multi_cleanup>> multi_;
  std::unique_ptr<CURL, CallToEnd<curl_easy_cleanup>> easy_;
};

}  // namespace zel::http
