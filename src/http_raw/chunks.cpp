// Chunked bodies.
#include <zel/http_raw.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

namespace {

using std::string_view;

constexpr string_view kLineEnd = "\r\n";
constexpr string_view kBlanks = " \t\n\v\f\r";  // what strtol skips, maybe past the text's end

struct SizeLine {
  int size;
  size_t length;  // with its end
};

std::optional<SizeLine> read_size_line(string_view text) {
  const size_t number = text.find_first_not_of(kBlanks);
  const size_t line_end = text.find(kLineEnd, number);
  // From the number on strtol stops at the line's end at the latest.
  if (line_end == string_view::npos) return std::nullopt;
  char* number_end;
  const long size = strtol(text.data() + number, &number_end, 16);
  if (number_end != text.data() + line_end) return std::nullopt;
  // A long is wider on a PC than on the router; both give the router's results.
  return SizeLine{static_cast<int>(std::clamp<long>(size, INT_MIN, INT_MAX)), line_end + kLineEnd.size()};
}

string_view body_text(const char* body, int length) {
  return body != nullptr && length > 0 ? string_view(body, static_cast<size_t>(length)) : string_view();
}

// The chunk that begins a text. Of one that does not end there, `length` is 0.
struct Chunk {
  size_t size;
  size_t data_at;
  size_t length;  // from the size to the last line end
};

size_t last_chunk_length(string_view text, size_t data_at) {
  const size_t line_end = text.find(kLineEnd, data_at);
  return line_end != string_view::npos ? line_end + kLineEnd.size() : 0;
}

std::optional<Chunk> read_chunk(string_view text) {
  const auto line = read_size_line(text);
  if (!line || line->size < 0) return std::nullopt;
  const auto size = static_cast<size_t>(line->size);
  if (size == 0) return Chunk{0, line->length, last_chunk_length(text, line->length)};
  const size_t room = text.size() - line->length;
  const bool whole = room >= kLineEnd.size() && size <= room - kLineEnd.size();
  return Chunk{size, line->length, whole ? line->length + size + kLineEnd.size() : 0};
}

// Takes the next chunk with data off a text that holds all of it. False at the last chunk, which stays, at
// a malformed one and at one that runs past the end.
bool skip_chunk(string_view* text) {
  const auto chunk = read_chunk(*text);
  if (!chunk || chunk->size == 0 || chunk->length == 0) return false;
  text->remove_prefix(chunk->length);
  return true;
}

bool is_whole_chunk(string_view text) {
  const auto chunk = read_chunk(text);
  return chunk && chunk->length != 0;
}

}  // namespace

int get_chunk_size(const char* text, int length, char** data) {
  const auto line = read_size_line(body_text(text, length));
  if (data != nullptr) *data = line ? const_cast<char*>(text) + line->length : nullptr;
  return line ? line->size : -1;
}

int get_chunk_page(char* body, int length) {
  string_view rest = body_text(body, length);
  char* end = body;
  for (auto chunk = read_chunk(rest); chunk && chunk->size != 0; chunk = read_chunk(rest)) {
    const string_view data = rest.substr(chunk->data_at, chunk->size);
    memmove(end, data.data(), data.size());
    end += data.size();
    if (chunk->length == 0) break;
    rest.remove_prefix(chunk->length);
  }
  return static_cast<int>(end - body);
}

int check_chunk_page_end(const char* body, int length) {
  string_view rest = body_text(body, length);
  while (skip_chunk(&rest)) continue;
  return is_whole_chunk(rest) ? 1 : 0;
}

int get_chunk_num(const char* body, int length) {
  string_view rest = body_text(body, length);
  int count = 0;
  while (skip_chunk(&rest)) ++count;
  return count + (is_whole_chunk(rest) ? 1 : 0);
}

int get_chunk(const char* body, int length, int index, char** begin, char** end) {
  string_view rest = body_text(body, length);
  if (index < 0) return -1;
  for (; index > 0; --index) {
    if (!skip_chunk(&rest)) return -1;
  }
  const auto chunk = read_chunk(rest);
  if (!chunk || chunk->length == 0) return -1;
  char* const at = const_cast<char*>(rest.data());
  if (begin != nullptr) *begin = at;
  if (end != nullptr) *end = at + chunk->length;
  return 0;
}
