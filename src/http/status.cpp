// Judging an attempt by the header text that it collected.
#include <algorithm>
#include <cstring>
#include <string_view>

#include <zel/http.h>

namespace {

using std::string_view;

constexpr string_view kBlanks = " \t\n\v\f\r";
constexpr string_view kProtocol = "HTTP/1.";
constexpr string_view kNextAnswer = "\r\n\r\nHTTP/1.";
constexpr size_t kEmptyLine = 4;  // of it, what stands before the answer
constexpr string_view kLocation = "Location:";
constexpr size_t kShortestHeader = 10;
constexpr size_t kFirstDigits = 3;
constexpr size_t kLaterDigits = 4;  // Kept: a later answer's status may have a digit more.

// Takes the first word off the text; empty at its end.
string_view take_word(string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  const string_view word = text.substr(0, text.find_first_of(kBlanks));
  text.remove_prefix(word.size());
  return word;
}

// The status of the answer that begins here, or -1. Kept: its two words may stand on different lines.
int status_of(string_view answer, size_t max_digits) {
  const string_view protocol = take_word(answer);
  const string_view digits = take_word(answer);
  if (protocol.size() != kProtocol.size() + 1 || protocol.substr(0, kProtocol.size()) != kProtocol) return -1;
  if (digits.empty() || digits.size() > max_digits || digits.front() == '0') return -1;
  int status = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return -1;
    status = status * 10 + (digit - '0');
  }
  return status;
}

int last_status(string_view header) {
  if (header.size() < kShortestHeader) return -1;
  int status = status_of(header, kFirstDigits);
  size_t at = header.find(kNextAnswer);
  while (status != -1 && at != string_view::npos) {
    status = status_of(header.substr(at + kEmptyLine), kLaterDigits);
    at = header.find(kNextAnswer, at + 1);
  }
  return status;
}

// Copies the redirect's target, which is shorter than the header. False when there is none, or it is cut off.
// Kept: the first "Location:" counts, also as the end of another name or in an earlier answer; one character
// after it is skipped, whatever it is.
bool copy_location(string_view header, char* target) {
  const size_t label = header.find(kLocation);
  if (label == string_view::npos) return false;
  const size_t begin = label + kLocation.size() + 1;
  const size_t end = header.find("\r\n", begin);
  if (end == string_view::npos) return false;
  header.copy(target, end - begin, begin);
  target[end - begin] = '\0';
  return true;
}

}  // namespace

int HttpUploader::GetHttpCode(int follow_redirect) {
  const string_view text(header, strnlen(header, ZEL_HTTP_TEXT_MAX));
  const int status = last_status(text);
  if (status == 200) return 0;
  return follow_redirect == 1 && status == 302 && copy_location(text, body) ? 0 : status;
}

int HttpUploader::AnalyseResult(int follow_redirect) {
  return GetHttpCode(follow_redirect);
}
