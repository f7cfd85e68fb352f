// Downloading a URL to a path.
#include <libgen.h>
#include <unistd.h>
#include <zel/file.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

#include "base/handles.h"
#include "base/new_text.h"
#include "base/qo_level.h"
#include "http/easy.h"

using zel::kQoDebug;

namespace {

// Where the data goes first: beside the destination, named like the URL's last part.
zel::Memory<char> temporary_path(const char* url, const char* path) {
  const zel::Memory<char> url_copy(strdup(url));
  const zel::Memory<char> folder(zel_dirname(path));
  if (!url_copy || !folder) return nullptr;
  return zel::new_text("%s/%s", folder.get(), basename(url_copy.get()));
}

zel::File open_fresh(const char* path) {
  if (unlink(path) != 0 && errno != ENOENT) {
    QO_Log(kQoDebug, "Failed to unlink %s", path);
    return nullptr;
  }
  zel::File file = zel::open_file(path, "we");
  if (!file) QO_Log(kQoDebug, "Failed to fopen %s", path);
  return file;
}

void set_progress(CURL* easy, zel_download_progress progress, void* data) {
  curl_easy_setopt(easy, CURLOPT_NOPROGRESS, progress == nullptr ? 1L : 0L);
  if (progress == nullptr) return;
    // Marked as old in favour of one with integers; plug-ins are given this one's figures.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  curl_easy_setopt(easy, CURLOPT_PROGRESSFUNCTION, progress);
#pragma GCC diagnostic pop
  curl_easy_setopt(easy, CURLOPT_PROGRESSDATA, data);
}

void set_transfer(CURL* easy, const char* url, FILE* file, int timeout) {
  curl_easy_setopt(easy, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(easy, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(easy, CURLOPT_URL, url);
  curl_easy_setopt(easy, CURLOPT_WRITEDATA, file);
  curl_easy_setopt(easy, CURLOPT_TIMEOUT, static_cast<long>(timeout));
  curl_easy_setopt(easy, CURLOPT_CONNECTTIMEOUT, static_cast<long>(timeout / 10));
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);  // The plug-in's signals are its own.
}

// Ends with the file closed, so that 0 means that all the data is in it.
int fetch(zel::http::Transfer& transfer, const char* url, zel::File file) {
  const CURLcode done = transfer.perform();
  const bool closed = zel::close_written(std::move(file));
  if (done == CURLE_OK && closed) return 0;
  QO_Log(kQoDebug, "Failed to download %s: %s.\n", url,
         curl_easy_strerror(done != CURLE_OK ? done : CURLE_WRITE_ERROR));
  return -1;
}

}  // namespace

int zel_download_file(const char* url, const char* path, zel_download_progress progress, void* data,
                      int /*unused*/, int timeout) {
  if (url == nullptr || path == nullptr) return -1;
  QO_Log(kQoDebug, "Downloading %s.\n", url);
  const zel::Memory<char> temporary = temporary_path(url, path);
  if (!temporary) return -1;
  zel::File file = open_fresh(temporary.get());
  if (!file) return -1;
  zel::http::Transfer transfer;
  if (!transfer) return -1;
  set_transfer(transfer.easy(), url, file.get(), timeout);
  set_progress(transfer.easy(), progress, data);
  if (fetch(transfer, url, std::move(file)) != 0) return -1;
  return zel_file_move(temporary.get(), path);
}
