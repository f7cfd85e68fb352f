// The verdict on header texts, whatever server could have sent them.
#include <gtest/gtest.h>

#include <memory>

#include <zel/http.h>

TEST(HttpStatus, TheLastStatusLineDecidesAndAFollowedRedirectPutsItsLocationIntoTheBody) {
  const std::string ok = "HTTP/1.1 200 OK\r\n\r\n";
  const std::string found = "HTTP/1.1 302 Found\r\n";
  const std::string wide(250000, 'x');
  const struct {
    const char* why;
    std::string header;
    int code;
    int follow = 0;
    std::string body = "body";
  } kCases[] = {
      {"any one character ends the protocol", "HTTP/1.x 200\r\n", 0},
      {"nothing came", "", -1},
      {"ten characters, one digit", "HTTP/1.1 7", 7},
      {"blanks before and between", " \t\r\n\v\fHTTP/1.1\n\n404\f", 404},
      {"HTTP/2.0", "HTTP/2.0 200\r\n\r\n", -1},
      {"a longer protocol", "HTTP/1.10 200 OK\r\n\r\n", -1},
      {"no code", "HTTP/1.1 \r\n\r\n", -1},
      {"four digits at first", "HTTP/1.1 2000 OK\r\n\r\n", -1},
      {"a zero in front", "HTTP/1.1 099 No\r\n\r\n", -1},
      {"a letter", "HTTP/1.1 20x No\r\n\r\n", -1},
      {"a code wider than any buffer", "HTTP/1.1 " + wide + "\r\n\r\n", -1},
      {"failure after success", ok + "HTTP/1.1 500 No\r\n\r\n", 500},
      {"four digits later", ok + "HTTP/1.1 2000 OK\r\n\r\n", 2000},
      {"bad between good ones", ok + "HTTP/1.1 x\r\n\r\n" + ok, -1},
      {"a later HTTP/2 is not seen", "HTTP/1.1 100 C\r\n\r\nHTTP/2 200\r\n\r\n", 100},
      {"a status line without an empty line before", "HTTP/1.1 404 N\r\nHTTP/1.1 200 OK\r\n\r\n", 404},
      {"a target", found + "Location: http://there/\r\n\r\n", 0, 1, "http://there/"},
      {"only 1 asks for it", found + "Location: /x\r\n\r\n", 302, 2},
      {"only 302 is one", "HTTP/1.1 301 Moved\r\nLocation: /x\r\n\r\n", 301, 1},
      {"small letters in its name", found + "location: /x\r\n\r\n", 302, 1},
      {"without a blank a character is lost", found + "Location:/x\r\n\r\n", 0, 1, "x"},
      {"another header of that ending", found + "Content-Location: /y\r\nLocation: /x\r\n\r\n", 0, 1, "/y"},
      {"a target of an earlier answer", "HTTP/1.1 100 C\r\nLocation: /a\r\n\r\n" + found, 0, 1, "/a"},
      {"the text ends with the label", found + "Location:", 302, 1},
      {"a target cut with the header", found + "Location: " + wide + "\r\n", 302, 1},
  };
  for (const auto& c : kCases) {
    const auto uploader = std::make_unique<HttpUploader>("http://h/");
    uploader->ReceiveResultHeader(c.header.data(), c.header.size());
    uploader->ReceiveResultBody("body", 4);
    EXPECT_EQ(uploader->GetHttpCode(c.follow), c.code) << c.why;
    EXPECT_EQ(uploader->AnalyseResult(c.follow), c.code) << c.why;
    EXPECT_EQ(uploader->body, c.body) << c.why;
  }
}
