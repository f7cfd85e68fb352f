// The calls that make one transfer into the caller's buffer.
#include <exception>
#include <memory>

#include <zel/http.h>
#include <zel/util.h>

namespace {

template <class... Source>
int transfer_into(char* result, int (HttpUploader::*method)(int, int), int timeout, int max_retry,
                  Source... source) {
  if (result == nullptr) return -1;
  try {
    const auto uploader = std::make_unique<HttpUploader>(source...);
    const int done = (uploader.get()->*method)(timeout, max_retry);
    qo_strncpy(result, uploader->body, ZEL_HTTP_RESULT_SIZE);
    return done;
  } catch (const std::exception&) {
    return -1;
  }
}

}  // namespace

int HttpGet(char* result, const char* url, int timeout, int max_retry) {
  return transfer_into(result, &HttpUploader::get, timeout, max_retry, url);
}

int HttpPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                   int max_retry) {
  return transfer_into(result, &HttpUploader::post, timeout, max_retry, url, length, buffer);
}

int HttpsPostBuffer(char* result, const char* url, const void* buffer, uint32_t length, int timeout,
                    int max_retry) {
  return transfer_into(result, &HttpUploader::post_https, timeout, max_retry, url, length, buffer);
}
