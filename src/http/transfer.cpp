// A transfer by libcurl: the body of a POST, the attempts.
#include "http/transfer.h"

#include <climits>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <utility>

#include "http/easy.h"
#include "http/options.h"

namespace zel::http {
namespace {

[[noreturn]] void refuse(const char* label) {
  char text[512];
  snprintf(text, sizeof text, "Curl set_opt error! [opt]:[%s]", label);
  throw std::runtime_error(text);
}

void require(CURLcode set, const char* label) {
  if (set != CURLE_OK) refuse(label);
}

struct Body {
  std::unique_ptr<char[]> read;  // what `bytes` points to when they came from a file
  const void* bytes;
  size_t size;
};

Body body_of(const UploadSource& source) {
  if (source.mode != kFromFile) return {nullptr, source.data, source.length};
  if (source.file == nullptr) throw std::runtime_error("The file to post is null!");
  std::unique_ptr<char[]> bytes(new char[source.length]);  // not cleared: it may be large
  const size_t size = fread(bytes.get(), 1, source.length, source.file);
  const void* const first = bytes.get();
  return {std::move(bytes), first, size};
}

// Without a body libcurl would read one from standard input; a size that is negative as a long it would take
// as "up to the NUL".
void set_body(CURL* easy, const Body& body) {
  if (body.bytes == nullptr && body.size != 0) refuse("CURLOPT_POSTFIELDS");
  if (body.size > static_cast<unsigned long>(LONG_MAX)) refuse("CURLOPT_POSTFIELDSIZE");
  curl_easy_setopt(easy, CURLOPT_POST, 1L);
  require(curl_easy_setopt(easy, CURLOPT_POSTFIELDS, body.bytes), "CURLOPT_POSTFIELDS");
  require(curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size)),
          "CURLOPT_POSTFIELDSIZE");
}

void attempt(Transfer& transfer, HttpUploader& uploader, int follow_redirect, int max_retry) {
  int attempts = 0;
  do {
    uploader.ReInit();
    static_cast<void>(transfer.perform());  // Kept: its result does not count; the header alone decides.
    if (uploader.AnalyseResult(follow_redirect) == 0) return;
    ++attempts;
  } while (attempts < max_retry);

  char text[512];
  snprintf(text, sizeof text, "Retry times exceed max_retry! [max_retry]: [%d]!", max_retry);
  throw std::runtime_error(text);
}

}  // namespace

void transfer(HttpUploader& uploader, Method method, int timeout, int max_retry) {
  Body body{};  // outlives the handle, which points to it
  Transfer handle;
  if (!handle)
    throw std::runtime_error(method == kGet ? "could not init the curl" : "could not init the curl!");
  if (const char* const refused = set_options(handle.easy(), uploader, method, timeout)) refuse(refused);
  if (method != kGet) {
    uploader.ReInit();
    body = body_of(uploader.source);
    set_body(handle.easy(), body);
  }
  attempt(handle, uploader, method == kPostHttps ? 1 : 0, max_retry);
}

}  // namespace zel::http
