// Bodies that a plug-in sets up by hand: files, and its own libcurl transfers with ReadDataCB.
#include <curl/curl.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>

#include "server.h"
#include "zel/http.h"

using test::answer;
using test::End;
using test::Server;

namespace {

FILE* file_with(const std::string& text) {
  FILE* const file = tmpfile();
  fputs(text.c_str(), file);
  return file;  // at its end: sending must rewind it
}

std::string body_of(const std::string& request) {
  return request.substr(request.find("\r\n\r\n") + 4);
}

// An uploader in file mode; it owns the file.
std::unique_ptr<HttpUploader> with_file(const Server& server, FILE* file, uint32_t length) {
  auto uploader = std::make_unique<HttpUploader>(server.url().c_str());
  uploader->source = {1, nullptr, 0, length, file};
  return uploader;
}

}  // namespace

TEST(HttpUpload, AFileIsSentWholeInEveryAttemptAndClosedWithTheObject) {
  const Server server({{answer("500 Oops"), End::kKeep}, {answer("200 OK", "yes"), End::kKeep}});
  const struct {
    const char* why;
    uint32_t length;
    std::string sent;
  } kCases[] = {{"exactly", 7, "content"},
                {"the first part", 4, "cont"},
                {"less than asked for", 1 << 20, "content"},
                {"nothing", 0, ""}};
  for (const auto& c : kCases) {
    FILE* const file = file_with("content");
    const int fd = fileno(file);
    auto uploader = with_file(server, file, c.length);
    EXPECT_EQ(uploader->post(1, 2), 0) << c.why;
    EXPECT_EQ(body_of(server.requests().back()), c.sent) << c.why;
    EXPECT_EQ(uploader->post_https(1, 1), 0) << c.why;
    EXPECT_EQ(body_of(server.requests().back()), c.sent) << c.why << ", again";
    uploader.reset();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << c.why;
  }
  EXPECT_EQ(body_of(server.requests()[0]), "content") << "the attempt that failed";
}

TEST(HttpUpload, BodiesThatAreNotThereMakeNoRequest) {
  const Server server({{answer("200 OK"), End::kKeep}});
  EXPECT_EQ(with_file(server, nullptr, 5)->post(1, 2), -1);
  EXPECT_EQ(with_file(server, nullptr, 0)->post_https(1, 2), -1);
  auto uploader = with_file(server, nullptr, 5);
  uploader->source.mode = 0;
  EXPECT_EQ(uploader->post(1, 2), -1) << "no memory block";
  EXPECT_EQ(server.connections(), 0U);
  uploader->source.length = 0;
  EXPECT_EQ(uploader->post(1, 1), 0) << "an empty body";
}

#if !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__)  // these touch all memory that is asked for
TEST(HttpUpload, ALengthThatMemoryOrLibcurlCannotTakeOnlyFailsTheTransfer) {
  const Server server({{answer("200 OK"), End::kKeep}});
  const bool fits = sizeof(void*) > 4;
  EXPECT_EQ(with_file(server, file_with("content"), UINT32_MAX)->post(1, 1), fits ? 0 : -1);
  EXPECT_EQ(server.requests().size(), fits ? 1U : 0U);
  if (fits) return;
  auto uploader =
      std::make_unique<HttpUploader>(server.url().c_str(), UINT32_MAX, "no terminator: -1 as a long");
  EXPECT_EQ(uploader->post(1, 1), -1);
  EXPECT_EQ(server.requests().size(), 0U);
}
#endif

TEST(HttpUpload, AModeThatIsNeitherIsMemoryWhoseFileIsRewoundButNotClosed) {
  const Server server({{answer("200 OK"), End::kKeep}});
  const zel::File file(file_with("content"));
  {
    HttpUploader uploader(server.url().c_str(), 4, "data");
    uploader.source.mode = 2;
    uploader.source.offset = 3;
    uploader.source.file = file.get();
    EXPECT_EQ(uploader.post(1, 1), 0);
    EXPECT_EQ(body_of(server.requests().back()), "data");
    EXPECT_EQ(uploader.source.offset, 3U);
  }
  EXPECT_EQ(fgetc(file.get()), 'c');
}

TEST(HttpUpload, ReadDataCbHandsOutMemoryPieceByPiece) {
  const char data[] = "abcdefg";
  char piece[8] = "";
  UploadSource source{0, data, 0, 7, nullptr};
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), 4U);
  EXPECT_STREQ(piece, "abcd");
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 1, 8, &source), 3U);
  EXPECT_STREQ(piece, "efgd");
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 1, 8, &source), 0U);
  EXPECT_EQ(source.offset, 7U);
}

TEST(HttpUpload, ReadDataCbReadsWholeItemsOfAFile) {
  UploadSource source{1, nullptr, 0, 0, file_with("abcdefg")};
  const zel::File owned(source.file);
  rewind(source.file);
  char piece[8] = "";
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), 2U);
  EXPECT_STREQ(piece, "abcd");
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), 1U);
}

TEST(HttpUpload, ReadDataCbGivesNothingFromOddSources) {
  char piece[8] = "kept";
  const struct {
    const char* why;
    UploadSource source;
    size_t size;
  } kCases[] = {{"past the end", {0, "abc", 9, 3, nullptr}, 1},
                {"no data", {0, nullptr, 0, 3, nullptr}, 1},
                {"no file", {1, "abc", 0, 3, nullptr}, 1},
                {"a size that overflows", {0, "abc", 0, 3, nullptr}, SIZE_MAX},
                {"no room", {0, "abc", 0, 3, nullptr}, 0}};
  for (const auto& c : kCases) {
    UploadSource source = c.source;
    EXPECT_EQ(HttpUploader::ReadDataCB(piece, c.size, 8, &source), 0U) << c.why;
    EXPECT_EQ(source.offset, c.source.offset) << c.why;
  }
  EXPECT_EQ(HttpUploader::ReadDataCB(piece, 1, 8, nullptr), 0U);
  EXPECT_STREQ(piece, "kept");
}

TEST(HttpUpload, APlugInsOwnTransferTakesTheBodyAndTheAnswerThroughTheCallbacks) {
  const Server server({{answer("200 OK", "taken"), End::kKeep}});
  const std::string data(100000, 'd');
  const std::unique_ptr<CURL, zel::Call<curl_easy_cleanup>> easy(curl_easy_init());
  HttpUploader answered(server.url().c_str(), static_cast<uint32_t>(data.size()), data.data());
  curl_easy_setopt(easy.get(), CURLOPT_URL, answered.url.c_str());
  curl_easy_setopt(easy.get(), CURLOPT_POST, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(data.size()));
  curl_easy_setopt(easy.get(), CURLOPT_READFUNCTION, &HttpUploader::ReadDataCB);
  curl_easy_setopt(easy.get(), CURLOPT_READDATA, &answered.source);
  curl_easy_setopt(easy.get(), CURLOPT_HEADERFUNCTION, &HttpUploader::WriteHeaderCB);
  curl_easy_setopt(easy.get(), CURLOPT_HEADERDATA, &answered);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEFUNCTION, &HttpUploader::WriteBodyCB);
  curl_easy_setopt(easy.get(), CURLOPT_WRITEDATA, &answered);
  ASSERT_EQ(curl_easy_perform(easy.get()), CURLE_OK);
  EXPECT_TRUE(body_of(server.requests().back()) == data);
  EXPECT_EQ(answered.AnalyseResult(0), 0);
  EXPECT_STREQ(answered.body, "taken");
}
