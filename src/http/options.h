// options.h: what libcurl is told before a transfer.
#pragma once

#include <curl/curl.h>
#include <zel/http.h>

#include "http/transfer.h"

namespace zel::http {

// Sets what the method needs. Returns null, or the label of the option that failed: the method insists on it.
[[nodiscard]] const char* set_options(CURL* easy, HttpUploader& uploader, Method method,
                                      int timeout) noexcept;

}  // namespace zel::http
