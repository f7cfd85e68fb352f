// easy.h: a handle for one transfer of libcurl.
#pragma once

#include <curl/curl.h>

#include <memory>

#include "base/handles.h"

namespace zel::http {

using CurlEasy = std::unique_ptr<CURL, CallToEnd<curl_easy_cleanup>>;

// Null if libcurl cannot make one. Any thread may call.
[[nodiscard]] CurlEasy new_easy();

}  // namespace zel::http
