// HttpUploader: its life, its buffers, and the callbacks that fill them.
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>

#include <zel/http.h>
#include "base/handles.h"
#include "http/transfer.h"

namespace {

using zel::http::kFromFile;

// Plug-ins read the members in place, on the router and on a PC.
static_assert(offsetof(UploadSource, data) == sizeof(void*));
static_assert(offsetof(UploadSource, length) == 2 * sizeof(void*) + 4);
static_assert(offsetof(UploadSource, file) == 2 * sizeof(void*) + 8);
static_assert(offsetof(HttpUploader, source) == 2 * sizeof(std::string));
static_assert(offsetof(HttpUploader, header) == 2 * sizeof(std::string) + sizeof(UploadSource));
static_assert(offsetof(HttpUploader, body) == offsetof(HttpUploader, header) + 204801);

const char* require_url(const char* target) {
  if (target == nullptr) throw std::invalid_argument("In KandfileUploader() url is empty!");
  return target;
}

int try_transfer(HttpUploader& uploader, zel::http::Method method, int timeout, int max_retry) {
  try {
    zel::http::transfer(uploader, method, timeout, max_retry);
    return 0;
  } catch (const std::exception&) {
    return -1;
  }
}

// The bytes that a libcurl callback is given; 0 when that many cannot be.
size_t product(size_t size, size_t nmemb) {
  size_t bytes;
  return __builtin_mul_overflow(size, nmemb, &bytes) ? 0 : bytes;
}

// Kept: what follows a NUL among the data is written over by the next piece.
void append(char (&text)[ZEL_HTTP_TEXT_MAX + 1], const char* data, size_t length) {
  const size_t used = strnlen(text, ZEL_HTTP_TEXT_MAX);
  const size_t taken = data != nullptr ? std::min<size_t>(length, ZEL_HTTP_TEXT_MAX - used) : 0;
  if (taken != 0) std::memcpy(text + used, data, taken);
  text[used + taken] = '\0';
}

size_t read_memory(UploadSource& source, void* ptr, size_t room) {
  if (source.data == nullptr || source.offset >= source.length) return 0;
  const size_t count = std::min<size_t>(room, source.length - source.offset);
  std::memcpy(ptr, static_cast<const char*>(source.data) + source.offset, count);
  source.offset += static_cast<uint32_t>(count);
  return count;
}

}  // namespace

// The buffers are 200 KB each: emptied by their first character, never cleared.
HttpUploader::HttpUploader(const char* target) : url(require_url(target)), source{} {
  header[0] = '\0';
  body[0] = '\0';
}

HttpUploader::HttpUploader(const char* target, uint32_t length, const void* buffer) : HttpUploader(target) {
  if (length == 0 || buffer == nullptr) throw std::runtime_error("In HttpUploader() input buffer NULL!");
  source.data = buffer;
  source.length = length;
}

// Kept: ReInit takes every mode but 0 for a file, here and in the transfer only 1 is one.
HttpUploader::~HttpUploader() {
  if (source.mode != kFromFile) return;
  const zel::File closed(source.file);
}

int HttpUploader::get(int timeout, int max_retry) {
  return try_transfer(*this, zel::http::kGet, timeout, max_retry);
}

int HttpUploader::post(int timeout, int max_retry) {
  return try_transfer(*this, zel::http::kPost, timeout, max_retry);
}

int HttpUploader::post_https(int timeout, int max_retry) {
  return try_transfer(*this, zel::http::kPostHttps, timeout, max_retry);
}

int HttpUploader::ReInit() {
  if (source.mode == 0) {
    source.offset = 0;
  } else if (source.file != nullptr) {
    fseek(source.file, 0, SEEK_SET);
  }
  header[0] = '\0';
  body[0] = '\0';
  return 0;
}

size_t HttpUploader::WriteHeaderCB(void* ptr, size_t size, size_t nmemb, void* userdata) {
  const size_t bytes = product(size, nmemb);
  if (userdata == nullptr || bytes == 0) return 0;
  static_cast<HttpUploader*>(userdata)->ReceiveResultHeader(static_cast<const char*>(ptr), bytes);
  return bytes;
}

size_t HttpUploader::WriteBodyCB(void* ptr, size_t size, size_t nmemb, void* userdata) {
  const size_t bytes = product(size, nmemb);
  if (userdata == nullptr || bytes == 0) return 0;
  static_cast<HttpUploader*>(userdata)->ReceiveResultBody(static_cast<const char*>(ptr), bytes);
  return bytes;
}

size_t HttpUploader::ReadDataCB(void* ptr, size_t size, size_t nmemb, void* userdata) {
  const size_t room = product(size, nmemb);
  if (userdata == nullptr || ptr == nullptr || room == 0) return 0;
  UploadSource& source = *static_cast<UploadSource*>(userdata);
  if (source.mode != kFromFile) return read_memory(source, ptr, room);
  return source.file != nullptr ? fread(ptr, size, nmemb, source.file) : 0;
}

int HttpUploader::ReceiveResultHeader(const char* data, size_t length) {
  append(header, data, length);
  return 0;
}

int HttpUploader::ReceiveResultBody(const char* data, size_t length) {
  append(body, data, length);
  return 0;
}
