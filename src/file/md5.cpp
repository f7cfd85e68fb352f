// MD5 sums of files.
#include <fcntl.h>
#include <unistd.h>
#include <zel/file.h>
#include <zel/util.h>

#include "base/handles.h"
#include "base/qo_level.h"
#include "base/whole_file.h"
#include "util/digest.h"

using zel::kQoDebug;

namespace {

// OpenSSL 3 marks these as old; see md5_string.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
bool read_digest(int file, unsigned char (&digest)[MD5_DIGEST_LENGTH]) {
  MD5_CTX context;
  MD5_Init(&context);
  unsigned char block[16384];
  ssize_t count;
  while ((count = zel::retry([&] { return read(file, block, sizeof block); })) > 0) {
    MD5_Update(&context, block, static_cast<size_t>(count));
  }
  MD5_Final(digest, &context);
  return count == 0;
}
#pragma GCC diagnostic pop

}  // namespace

int zel_check_file_md5(const char* path, char* output) {
  const bool given = path != nullptr && output != nullptr;
  const zel::Descriptor file = given ? zel::open_at(AT_FDCWD, path, O_RDONLY) : zel::Descriptor();
  if (!file) {
    QO_Log(kQoDebug, "[util]{%s} open error", __func__);
    return -1;
  }
  unsigned char digest[MD5_DIGEST_LENGTH];
  if (!read_digest(file.get(), digest)) {
    QO_Log(kQoDebug, "[util]{%s} read error", __func__);
    return -1;
  }
  zel::write_digest(digest, output);
  return 0;
}

int zel_check_file_md5_with_md5_file(const char* path, const char* md5_path) {
  const zel::WholeFile wanted = zel::read_whole_file(md5_path, O_RDWR);
  if (!wanted.text) {
    QO_Log(kQoDebug, "[util]{%s} zel_get_buf_from_file error", __func__);
    return -1;
  }
  char digest[33];
  if (zel_check_file_md5(path, digest) != 0) {
    QO_Log(kQoDebug, "[util]{%s} zel_check_file_md5 error", __func__);
    return -1;
  }
  // The size too: a text that ends with a NUL may go on behind it.
  if (wanted.size == sizeof digest - 1 && qo_strcasecmp(wanted.text.get(), digest) == 0) return 0;
  QO_Log(kQoDebug, "[util]md5Calc = %s", digest);
  QO_Log(kQoDebug, "[util]md5File = %s", wanted.text.get());
  return -1;
}
