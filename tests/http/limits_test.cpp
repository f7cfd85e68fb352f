// The fixed buffers: of the caller, of the object, and what the callbacks do at their ends.
#include <gtest/gtest.h>

#include <cstring>

#include "server.h"
#include "zel/http.h"

using test::answer;
using test::Server;

namespace {

std::string letters(size_t size) {
  std::string text(size, '\0');
  for (size_t at = 0; at < size; ++at) text[at] = static_cast<char>('a' + at % 23);
  return text;
}

std::unique_ptr<HttpUploader> any_uploader() {
  return std::make_unique<HttpUploader>("http://h/");
}

}  // namespace

TEST(HttpLimits, BodiesAreCutToTheResultAndToTheObject) {
  for (const size_t size : {9998U, 9999U, 10000U, 204799U, 204800U, 204801U, 300000U}) {
    const std::string body = letters(size);
    const Server server({{answer("200 OK", body)}});
    const auto result = std::make_unique<char[]>(ZEL_HTTP_RESULT_SIZE);  // no byte more, for the sanitizer
    EXPECT_EQ(HttpGet(result.get(), server.url().c_str(), 1, 1), 0) << size;
    EXPECT_EQ(strlen(result.get()), std::min<size_t>(size, 9999)) << size;
    EXPECT_EQ(result.get(), body.substr(0, 9999)) << size;

    HttpUploader* const uploader = new HttpUploader(server.url().c_str());
    EXPECT_EQ(uploader->get(1, 1), 0) << size;
    EXPECT_TRUE(uploader->body == body.substr(0, ZEL_HTTP_TEXT_MAX)) << size;
    delete uploader;
  }
}

// libcurl takes no more than 300 KB of header in all, which is more than the object keeps.
TEST(HttpLimits, AHeaderOverItsLimitIsCutAndTheTransferGoesOn) {
  std::string header = "HTTP/1.1 200 OK\r\n";
  for (int line = 0; line < 250; ++line) header += "X: " + letters(1000) + "\r\n";
  const Server server({{header + "Content-Length: 3\r\n\r\nyes"}});
  const auto uploader = std::make_unique<HttpUploader>(server.url().c_str());
  EXPECT_EQ(uploader->get(1, 1), 0);
  EXPECT_TRUE(uploader->header == header.substr(0, ZEL_HTTP_TEXT_MAX));
  EXPECT_STREQ(uploader->body, "yes");
}

TEST(HttpLimits, ThePieceAfterANulIsWrittenOverIt) {
  const auto uploader = any_uploader();
  for (const bool of_header : {true, false}) {
    const auto write = of_header ? &HttpUploader::WriteHeaderCB : &HttpUploader::WriteBodyCB;
    char first[] = {'a', 'b', '\0', 'c', 'd'};
    char second[] = {'X'};
    EXPECT_EQ(write(first, 1, 5, uploader.get()), 5U);
    EXPECT_EQ(write(second, 1, 1, uploader.get()), 1U);
    const char* const text = of_header ? uploader->header : uploader->body;
    EXPECT_EQ(std::string(text, 6), std::string("abX\0d\0", 6));
  }
}

TEST(HttpLimits, CallbacksTakeAllBytesAndRefuseWhatIsNone) {
  const auto uploader = any_uploader();
  std::string bytes = letters(ZEL_HTTP_TEXT_MAX);
  for (const auto write : {&HttpUploader::WriteHeaderCB, &HttpUploader::WriteBodyCB}) {
    EXPECT_EQ(write(bytes.data(), 2, 3, nullptr), 0U) << "no object";
    EXPECT_EQ(write(bytes.data(), 0, 3, uploader.get()), 0U) << "no bytes";
    EXPECT_EQ(write(bytes.data(), SIZE_MAX / 2, 3, uploader.get()), 0U) << "more than there can be";
    EXPECT_EQ(write(bytes.data(), 1, bytes.size() - 1, uploader.get()), bytes.size() - 1);
    EXPECT_EQ(write(bytes.data(), 5, 7, uploader.get()), 35U) << "room for one";
    EXPECT_EQ(write(bytes.data(), 5, 7, uploader.get()), 35U) << "no room";
  }
  const std::string kept = bytes.substr(0, bytes.size() - 1) + "a";
  EXPECT_TRUE(uploader->header == kept);
  EXPECT_TRUE(uploader->body == kept);
  EXPECT_EQ(uploader->ReceiveResultBody(nullptr, 5), 0);
  EXPECT_TRUE(uploader->body == kept);
}

TEST(HttpLimits, TheBuffersAreEmptiedByTheirFirstCharacterOnly) {
  const auto memory = std::make_unique<unsigned char[]>(sizeof(HttpUploader));
  memset(memory.get(), 'x', sizeof(HttpUploader));
  HttpUploader* const uploader = new (memory.get()) HttpUploader("http://h/", 1, "b");
  EXPECT_EQ(std::string(uploader->header, 3), std::string("\0xx", 3));
  EXPECT_EQ(std::string(uploader->body, 3), std::string("\0xx", 3));
  uploader->header[0] = uploader->body[0] = 'y';
  EXPECT_EQ(uploader->ReInit(), 0);
  EXPECT_EQ(std::string(uploader->header, 3), std::string("\0xx", 3));
  EXPECT_EQ(std::string(uploader->body, 3), std::string("\0xx", 3));
  uploader->~HttpUploader();
}

TEST(HttpLimits, ConstructorsSayWhatTheyMiss) {
  const auto text_of = [](auto construct) -> std::string {
    try {
      construct();
    } catch (const std::invalid_argument& e) {
      return std::string("invalid_argument: ") + e.what();
    } catch (const std::runtime_error& e) {
      return std::string("runtime_error: ") + e.what();
    }
    return "none";
  };
  const char* const none = nullptr;
  const char* const url_empty = "invalid_argument: In KandfileUploader() url is empty!";
  const char* const buffer_null = "runtime_error: In HttpUploader() input buffer NULL!";
  EXPECT_EQ(text_of([&] { std::make_unique<HttpUploader>(none); }), url_empty);
  EXPECT_EQ(text_of([&] { std::make_unique<HttpUploader>(none, 0U, none); }), url_empty);
  EXPECT_EQ(text_of([&] { std::make_unique<HttpUploader>("u", 0U, "b"); }), buffer_null);
  EXPECT_EQ(text_of([&] { std::make_unique<HttpUploader>("u", 1U, none); }), buffer_null);
  EXPECT_EQ(text_of([&] { std::make_unique<HttpUploader>(""); }), "none");
}
