// The encoders beside OpenSSL's base64 and libcurl's escapes, over the same data.
#include <curl/curl.h>
#include <openssl/evp.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>

#include <zel/util.h>
#include "pairs.h"

namespace {

using Bytes = std::vector<unsigned char>;

struct Data {
  std::string name;
  std::string bytes;
};

std::string random_bytes(size_t size) {
  std::minstd_rand random(size);
  std::string bytes(size, '\0');
  for (char& byte : bytes) byte = static_cast<char>(random() >> 8);
  return bytes;
}

// Words and parameters as requests carry them: about one character in seven needs escaping.
std::string random_text(size_t size) {
  static const char kCharacters[] =
      "abcdefghijklmnopqrstuvwxyz0123456789-_.ABCDEFGHIJKLMNOPQRSTUVWXYZ  /&=%:\xC3\xA9,?";
  std::minstd_rand random(size);
  std::string text(size, '\0');
  for (char& c : text) c = kCharacters[(random() >> 8) % (sizeof kCharacters - 1)];
  return text;
}

std::string size_name(size_t size) {
  return size < 1024 ? std::to_string(size) + " B" : std::to_string(size / 1024) + " KB";
}

const unsigned char* bytes_of(const std::string& text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

void base64(size_t size) {
  const std::string data = random_bytes(size);
  const int length = static_cast<int>(size);
  std::string ours(size * 2 + 8, '\0');
  std::string peer = ours;
  int digits = 0;
  encode_base64(data.data(), length, ours.data(), &digits);
  if (EVP_EncodeBlock(reinterpret_cast<unsigned char*>(peer.data()), bytes_of(data), length) != digits ||
      ours != peer) {
    std::fputs("base64: the two encoders differ\n", stderr);
    std::exit(1);
  }
  const std::string text = ours.substr(0, static_cast<size_t>(digits));

  pairs::compare(
      "base64 encode, " + size_name(size),
      [=, out = ours]() mutable {
        int count;
        encode_base64(data.data(), length, out.data(), &count);
      },
      [=, out = peer]() mutable {
        EVP_EncodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes_of(data), length);
      });
  pairs::compare(
      "base64 decode, " + size_name(size),
      [=, out = ours]() mutable {
        int count;
        decode_base64(text.data(), digits, out.data(), &count);
      },
      [=, out = peer]() mutable {
        EVP_DecodeBlock(reinterpret_cast<unsigned char*>(out.data()), bytes_of(text), digits);
      });
}

void escapes(const std::string& kind, const std::string& data) {
  const int length = static_cast<int>(data.size());
  const std::string name = ", " + kind + ", " + size_name(data.size());
  const auto peer = [=] { curl_free(curl_easy_escape(nullptr, data.data(), length)); };
  std::string room(data.size() * 3, '\0');
  pairs::compare(
      "escape_uri" + name,
      [=, out = room]() mutable {
        benchmark::DoNotOptimize(escape_uri(out.data(), data.data(), data.size(), QO_ESCAPE_ARGS));
      },
      peer);
  pairs::compare(
      "url_encode" + name,
      [=, out = room]() mutable { benchmark::DoNotOptimize(url_encode(out.data(), data.data(), length)); },
      peer);
}

// Both sides allocate and free their result.
void bench_allocated(const std::string& text) {
  pairs::compare(
      "qo_malloc_encode_string, text, " + size_name(text.size()),
      [=] { std::free(qo_malloc_encode_string(text.c_str())); },
      [=] { curl_free(curl_easy_escape(nullptr, text.c_str(), 0)); });
}

}  // namespace

int main(int argc, char** argv) {
  for (const size_t size : {16U, 1024U, 65536U}) {
    base64(size);
    escapes("text", random_text(size));
    escapes("binary", random_bytes(size));
    bench_allocated(random_text(size));
  }
  return pairs::run(argc, argv);
}
