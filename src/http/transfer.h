// transfer.h: what get, post and post_https do, before their exceptions become -1.
#pragma once

#include <zel/http.h>

namespace zel::http {

constexpr uint32_t kFromFile = 1;  // the UploadSource mode

enum Method : unsigned { kGet = 1, kPost = 2, kPostHttps = 4 };

// Transfers; throws std::runtime_error when the transfer cannot start or no attempt succeeds.
void transfer(HttpUploader& uploader, Method method, int timeout, int max_retry);

}  // namespace zel::http
