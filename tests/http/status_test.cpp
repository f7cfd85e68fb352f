// The verdict on header texts, whatever server could have sent them.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

#include "zel/http.h"

namespace {

std::unique_ptr<HttpUploader> with_header(const std::string& text) {
  auto uploader = std::make_unique<HttpUploader>("http://h/");
  uploader->ReceiveResultHeader(text.data(), text.size());
  uploader->ReceiveResultBody("body", 4);
  return uploader;
}

}  // namespace

TEST(HttpStatus, TheLastStatusLineDecides) {
  const std::string ok = "HTTP/1.1 200 OK\r\n\r\n";
  const std::string wide(5000, 'x');
  const struct {
    const char* why;
    std::string header;
    int code;
  } kCases[] = {
      {"success", ok, 0},
      {"an older server", "HTTP/1.0 200 OK\r\n\r\n", 0},
      {"any one character ends the protocol", "HTTP/1.x 200\r\n", 0},
      {"nothing came", "", -1},
      {"nine characters", "HTTP/1.1 ", -1},
      {"ten characters, one digit", "HTTP/1.1 7", 7},
      {"blanks before and between", " \t\r\n\v\fHTTP/1.1\n\n404\f", 404},
      {"other successes are codes", "HTTP/1.1 204 No Content\r\n\r\n", 204},
      {"HTTP/2", "HTTP/2 200\r\n\r\n", -1},
      {"HTTP/2.0", "HTTP/2.0 200\r\n\r\n", -1},
      {"small letters", "http/1.1 200 OK\r\n\r\n", -1},
      {"a longer protocol", "HTTP/1.10 200 OK\r\n\r\n", -1},
      {"a shorter protocol", "HTTP/1. 200 OK\r\n\r\n", -1},
      {"no code", "HTTP/1.1 \r\n\r\n", -1},
      {"four digits at first", "HTTP/1.1 2000 OK\r\n\r\n", -1},
      {"a zero in front", "HTTP/1.1 099 No\r\n\r\n", -1},
      {"zero", "HTTP/1.1 0 No\r\n\r\n", -1},
      {"a sign", "HTTP/1.1 +20 No\r\n\r\n", -1},
      {"a letter", "HTTP/1.1 20x No\r\n\r\n", -1},
      {"a protocol wider than any buffer", wide + " 200 OK\r\n\r\n", -1},
      {"a code wider than any buffer", "HTTP/1.1 " + wide + "\r\n\r\n", -1},
      {"one word of 200 KB", std::string(250000, 'H'), -1},
      {"success after an interim answer", "HTTP/1.1 100 Continue\r\n\r\n" + ok, 0},
      {"failure after success", ok + "HTTP/1.1 500 No\r\n\r\n", 500},
      {"three answers", ok + ok + "HTTP/1.1 403 No\r\n\r\n", 403},
      {"four digits later", ok + "HTTP/1.1 2000 OK\r\n\r\n", 2000},
      {"five digits later", ok + "HTTP/1.1 20000 OK\r\n\r\n", -1},
      {"a longer protocol later", ok + "HTTP/1.10 200 OK\r\n\r\n", -1},
      {"a later code missing", ok + "HTTP/1.1 \r\n\r\n", -1},
      {"bad between good ones", ok + "HTTP/1.1 x\r\n\r\n" + ok, -1},
      {"a later HTTP/2 is not seen", "HTTP/1.1 100 C\r\n\r\nHTTP/2 200\r\n\r\n", 100},
      {"a status line without an empty line before", "HTTP/1.1 404 N\r\nHTTP/1.1 200 OK\r\n\r\n", 404},
      {"a redirect is not followed here", "HTTP/1.1 302 F\r\nLocation: /x\r\n\r\n", 302},
  };
  for (const auto& c : kCases) {
    const auto uploader = with_header(c.header);
    EXPECT_EQ(uploader->GetHttpCode(0), c.code) << c.why;
    EXPECT_EQ(uploader->AnalyseResult(0), c.code) << c.why;
    EXPECT_STREQ(uploader->body, "body") << c.why;
  }
}

TEST(HttpStatus, AFollowedRedirectPutsItsLocationIntoTheBody) {
  const std::string found = "HTTP/1.1 302 Found\r\n";
  const struct {
    const char* why;
    std::string header;
    int follow;
    int code;
    std::string body;
  } kCases[] = {
      {"a target", found + "Location: http://there/\r\n\r\n", 1, 0, "http://there/"},
      {"only 1 asks for it", found + "Location: /x\r\n\r\n", 2, 302, "body"},
      {"only 302 is one", "HTTP/1.1 301 Moved\r\nLocation: /x\r\n\r\n", 1, 301, "body"},
      {"success has none", "HTTP/1.1 200 OK\r\nLocation: /x\r\n\r\n", 1, 0, "body"},
      {"no target", found + "\r\n", 1, 302, "body"},
      {"small letters", found + "location: /x\r\n\r\n", 1, 302, "body"},
      {"an empty target", found + "Location: \r\n\r\n", 1, 0, ""},
      {"without a blank a character is lost", found + "Location:/x\r\n\r\n", 1, 0, "x"},
      {"without a blank and a target", found + "Location:\r\nA: b\r\n\r\n", 1, 0, "\nA: b"},
      {"another header of that ending", found + "Content-Location: /y\r\nLocation: /x\r\n\r\n", 1, 0, "/y"},
      {"a target of an earlier answer", "HTTP/1.1 100 C\r\nLocation: /a\r\n\r\n" + found + "\r\n", 1, 0,
       "/a"},
      {"no line end", found + "Location: /x", 1, 302, "body"},
      {"line ends of one character", found + "Location: /x\n\n", 1, 302, "body"},
      {"the text ends with the label", found + "Location:", 1, 302, "body"},
      {"a target cut with the header", found + "Location: " + std::string(250000, 'x') + "\r\n", 1, 302,
       "body"},
  };
  for (const auto& c : kCases) {
    const auto uploader = with_header(c.header);
    EXPECT_EQ(uploader->GetHttpCode(c.follow), c.code) << c.why;
    EXPECT_EQ(uploader->body, c.body) << c.why;
  }
}

TEST(HttpStatus, AHeaderWithoutATerminatorIsReadToItsLimit) {
  const auto uploader = with_header("HTTP/1.1 302 Found\r\nLocation:");
  memset(uploader->header + 29, 'x', sizeof uploader->header - 29);
  EXPECT_EQ(uploader->GetHttpCode(1), 302);
  memcpy(uploader->header + ZEL_HTTP_TEXT_MAX - 2, "\r\n", 2);
  EXPECT_EQ(uploader->GetHttpCode(1), 0);
  EXPECT_EQ(strlen(uploader->body), ZEL_HTTP_TEXT_MAX - 2U - 30U);
}
