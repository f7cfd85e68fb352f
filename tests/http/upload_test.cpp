// What a plug-in sets up by hand: bodies from files, and the callbacks for a libcurl transfer of its own.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <zel/http.h>
#include "support/http_server.h"

static FILE* file_with(const char* text) {
  FILE* const file = tmpfile();
  fputs(text, file);
  return file;  // at its end: sending must rewind it
}

TEST(HttpUpload, AFileIsSentInEveryTransferAndClosedWithTheObject) {
  const test::Server server({{test::answer("500 Oops")}, {test::answer("200 OK")}});
  for (const uint32_t length : {4U, 1U << 20, 0U}) {
    auto uploader = std::make_unique<HttpUploader>(server.url());
    uploader->source = {1, nullptr, 0, length, file_with("content")};
    const std::string sent = std::string("content").substr(0, length);
    const int fd = fileno(uploader->source.file);
    for (const auto post : {&HttpUploader::post, &HttpUploader::post_https}) {
      EXPECT_EQ((uploader.get()->*post)(1, 2), 0) << length;
      EXPECT_TRUE(server.requests().back().ends_with("\r\n\r\n" + sent)) << sent;
    }
    uploader.reset();
    EXPECT_EQ(fcntl(fd, F_GETFD), -1) << length;
  }
}

TEST(HttpUpload, BodiesThatAreNotThereMakeNoRequestAndAnUnknownModeIsMemory) {
  const test::Server server({{test::answer("200 OK")}});
  const zel::File file(file_with("content"));
  auto uploader = std::make_unique<HttpUploader>(server.url());
  for (const uint32_t mode : {0U, 1U}) {
    uploader->source = {mode, nullptr, 0, 5, nullptr};
    EXPECT_EQ(uploader->post(1, 1), -1) << mode;
  }
  uploader->source = {0, "-1 as a long where it has 32 bits", 0, UINT32_MAX, nullptr};
  EXPECT_TRUE(sizeof(long) > 4 || uploader->post(1, 1) == -1);
  EXPECT_EQ(server.requests().size(), 0U);
  uploader->source = {2, "data", 3, 4, file.get()};
  EXPECT_EQ(uploader->post(1, 1), 0);
  EXPECT_TRUE(server.requests().back().ends_with("\r\n\r\ndata"));
  uploader.reset();
  EXPECT_EQ(fgetc(file.get()), 'c') << "rewound, not closed";
}

TEST(HttpUpload, ReadDataCbHandsOutBytesOfMemoryAndWholeItemsOfAFile) {
  const zel::File file(file_with("abcdefg"));
  rewind(file.get());
  char piece[] = "----+";
  for (UploadSource source : {UploadSource{0, "abcdefg", 0, 7, nullptr}, {1, nullptr, 0, 0, file.get()}}) {
    EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), source.mode == 0 ? 4U : 2U);
    EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), source.mode == 0 ? 3U : 1U);
    EXPECT_EQ(HttpUploader::ReadDataCB(piece, 2, 2, &source), 0U);
    EXPECT_STREQ(piece, "efgd+");
  }
  for (UploadSource odd :
       {UploadSource{0, "abc", 9, 3, nullptr}, {0, nullptr, 0, 3, nullptr}, {1, "abc", 0, 3, nullptr}}) {
    EXPECT_EQ(HttpUploader::ReadDataCB(piece, 1, 4, &odd), 0U);
  }
}

TEST(HttpUpload, TheWriteCallbacksTakeAllBytesAndKeepWhatFits) {
  const auto uploader = std::make_unique<HttpUploader>("http://h/");
  std::string bytes(ZEL_HTTP_TEXT_MAX - 3, 'a');
  bytes[5] = '\0';
  for (const auto write : {&HttpUploader::WriteHeaderCB, &HttpUploader::WriteBodyCB}) {
    EXPECT_EQ(write(bytes.data(), 2, 3, nullptr), 0U) << "no object";
    EXPECT_EQ(write(bytes.data(), SIZE_MAX / 2, 3, uploader.get()), 0U) << "more than there can be";
    EXPECT_EQ(write(bytes.data(), 1, 10, uploader.get()), 10U);
    EXPECT_EQ(write(bytes.data() + 6, 1, bytes.size() - 6, uploader.get()), bytes.size() - 6);
    EXPECT_EQ(write(bytes.data() + 6, 5, 7, uploader.get()), 35U) << "less room";
  }
  EXPECT_TRUE(uploader->header == std::string(ZEL_HTTP_TEXT_MAX, 'a')) << "the NUL was written over";
  EXPECT_STREQ(uploader->body, uploader->header);
}
