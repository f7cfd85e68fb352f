// What the client on plain sockets writes and reads: lists, requests, URLs, responses, chunks. The program's own
// pool calls take the place of the library's, to run out of memory.
#include <functional>
#include <vector>

#include <zel/http_raw.h>
#include "support/cases.h"
#include "support/pool.h"

namespace {

int allocations_left = -1;  // before one fails; negative: none does

using Pairs = std::vector<std::pair<Text, Text>>;
const Pairs kHeader = {{"H", "h"}};

// A value "-" stands for none.
http_header_elem* list_of(const Pool& pool, const Pairs& pairs) {
  http_header_elem* list = nullptr;
  for (const auto& [name, value] : pairs) {
    EXPECT_EQ(http_header_list_add_elem(pool.get(), &list, name, value), 0);
    if (*value == '-') list->value = nullptr;
  }
  return list;
}

std::string text_of(const http_header_elem* list) {
  std::string text;
  for (; list != nullptr; list = list->next) text += std::string(list->name) + "=" + list->value + ";";
  return text;
}

// The request, or the failure's code.
std::string request(Text method, Text path, const Pairs& headers, const Pairs& parameters,
                    Text body = nullptr) {
  const Pool pool = new_pool();
  char* text = nullptr;
  int length = body != nullptr ? static_cast<int>(strlen(body)) : 9;
  const int code = generate_http_request(pool.get(), method, path, list_of(pool, headers),
                                         list_of(pool, parameters), body, length, &text, &length);
  return code == 0 && text[length] == '\0' ? std::string(text, text + length) : std::to_string(code);
}

// Status, version, headers and body of a response; or the failure's code.
std::string parsed(const std::string& text, bool dechunk = true) {
  const Pool pool = new_pool();
  Exact response(text);
  int status, length = 0;
  char *version = nullptr, *body = nullptr;
  http_header_elem* list = nullptr;
  const int code = parse_http_response(pool.get(), response.data(), static_cast<int>(text.size()), &status,
                                       &version, &list, &body, &length, dechunk);
  if (code != 0) return std::to_string(code);
  EXPECT_TRUE(length == 0 || body + length == response.data() + text.size() || body[length] == '\0') << text;
  return std::to_string(status) + " " + (version != nullptr ? version : "none") + " " + text_of(list) +
         (body != nullptr ? " " + std::string(body, body + length) : "");
}

}  // namespace

// The linker puts these in front of the pool's.
extern "C" {
void* __wrap_mem_palloc_safe(mem_pool* pool, size_t size) {
  return allocations_left-- == 0 ? nullptr : mem_palloc(pool, size);
}
void* __wrap_mem_pcalloc_safe(mem_pool* pool, size_t size) {
  return allocations_left-- == 0 ? nullptr : mem_pcalloc(pool, size);
}
}

TEST(HttpRaw, ListsKeepOneElementOfANameNewestFirst) {
  const Pool pool = new_pool();
  http_header_elem* list = list_of(pool, {{"A", "1"}, {"B", "2"}, {"C", "3"}, {"b", "4"}});
  const Pairs kLeft = {{"X", "C=3;b=4;A=1;"}, {"B", "C=3;A=1;"}, {"c", "A=1;"}, {"A", ""}};
  for (const auto& [name, left] : kLeft) {
    EXPECT_EQ(http_header_list_del_elem(pool.get(), &list, name), 0);
    EXPECT_EQ(text_of(list), left);
  }
  EXPECT_EQ(http_header_list_add_elem(pool.get(), &list, "A", nullptr), -1);
}

TEST(HttpRaw, RequestsAndFormsAreWrittenFromLists) {
  EXPECT_EQ(request("PUT", "/a", kHeader, {}), "PUT /a HTTP/1.1\r\nH:h\r\n\r\n");
  EXPECT_EQ(request("POST", "/", kHeader, {}, "x\ny"), "POST / HTTP/1.1\r\nH:h\r\n\r\nx\ny");
  EXPECT_EQ(request("GET", "/", {{"H", ""}, {"I", "-"}}, {{"a", "1"}, {"b", "2 &"}, {"c", "-"}}),
            "GET /?b=2 &&a=1 HTTP/1.1\r\nH:\r\n\r\n");
  EXPECT_EQ(request("GET", "/", {{"H", "-"}}, {{"b", "-"}}), "GET /? HTTP/1.1\r\n\r\n");
  EXPECT_EQ(request("delete", "/", {}, {}), "-1");  // the missing headers come first
  for (Text method : {"get", "GETS"}) EXPECT_EQ(request(method, "/", kHeader, {}), "-2");

  const Pool pool = new_pool();
  char* text = nullptr;
  int length = 0;
  const http_header_elem* const list = list_of(pool, {{"a b", "1&2"}, {"\xff=", ""}, {"skipped", "-"}});
  EXPECT_EQ(http_encode_post_data(pool.get(), list, &text, &length), 0);
  EXPECT_EQ(std::string(text, text + length), "%FF%3D=&a%20b=1%262");
  EXPECT_EQ(generate_http_request(pool.get(), "GET", "", list, nullptr, "b", -1, &text, &length), -1);
}

TEST(HttpRaw, UrlsAreTakenApart) {
  const std::pair<Text, std::string> kCases[] = {
      {"http://10.0.0.1:8080/x/y", "10.0.0.1:8080 8080 /x/y 10.0.0.1"},
      {"http:///", " 80 / none"},
      {"10.0.0.3:99999999999x:2/?a", "10.0.0.3:99999999999x:2 2147483647 /?a 10.0.0.3"}};
  const Pool pool = new_pool();
  for (const auto& [url, parts] : kCases) {
    char none[] = "none", *host = nullptr, *path = nullptr, *ip = none;
    int port = -5;
    EXPECT_EQ(resolve_url(pool.get(), url, nullptr, &ip, &port, nullptr), 0) << url;
    EXPECT_EQ(std::pair(port, ip), std::pair(-5, none + 0)) << url;
    EXPECT_EQ(resolve_url(pool.get(), url, &host, &ip, &port, &path), 0) << url;
    EXPECT_EQ(host + (" " + std::to_string(port)) + " " + path + " " + ip, parts);
  }
}

TEST(HttpRaw, ResponsesAreTakenApart) {
  const std::string ok = "HTTP/1.1 200 OK\r\n", n63(63, 'n'), v1022(1022, 'v');
  const std::string chunked = ok + "Te: Chunked\r\ntransfer-encoding: Chunked\r\n\r\n";
  const std::string headers = "200 HTTP/1.1 transfer-encoding=Chunked;Te=Chunked; ";
  const std::pair<std::string, std::string> kCases[] = {
      {ok + "A: 1\r\nB:2\r\na: 3\r\n\r\nbody", "200 HTTP/1.1 B=2;a=3; body"},
      {"HTTP/1.0 404 Not\nA: b\n\nC: d", "404 HTTP/1.0 A=b;"},
      {ok + "\tA :  b\t \r\nC:\r\n\r\n", "200 HTTP/1.1 C=;A= b; "},
      {ok + "what\r\nA: b:c\r\nwhat\r\n\r\n", "200 HTTP/1.1 A=b:c; "},
      {ok + n63 + ":" + v1022 + "w\r\n\r\n", "200 HTTP/1.1 " + n63 + "=" + v1022 + "w; "},
      {ok + n63 + "n: " + v1022 + "w\r\n\r\n", "200 HTTP/1.1 " + n63 + "=" + v1022 + "; "},
      {"HTTP/1.1-and-some-more 00000000000002001 OK\r\n", "20 HTTP/1.1-and-so "},
      {"\r\nA: b\r\n\r\nc", "0 none A=b; c"},
      {chunked + "3\r\nabc\r\n1\r\nd\r\n0\r\n\r\n", headers + "abcd"},
      {chunked + "ff\r\nabc", headers + "abc"},
      {chunked + "?", headers}};
  for (const auto& [text, parts] : kCases) EXPECT_EQ(parsed(text), parts) << text;
  EXPECT_EQ(parsed(chunked + "1\r\na\r\n", false), headers + "1\r\na\r\n");
}

TEST(HttpRaw, ChunkSizesAreReadAsHexadecimalLines) {
  // text, size, and where the data begin
  const Rows<int, int> kCases = {
      {"1a\r\ndata", 26, 4},  {"\r\n 0xA\r\n", 10, 8}, {"-2\r\n", -2, 4}, {"80000000\r\n", INT_MAX, 10},
      {"1a;x=1\r\n", -1, -1}, {"1a\r", -1, -1},        {"\r\n", -1, -1}};
  for (const auto& [text, size, data_at] : kCases) {
    Exact exact{std::string(text)};
    char* data = exact.data();
    EXPECT_EQ(get_chunk_size(exact.data(), static_cast<int>(exact.size()), &data), size) << text;
    EXPECT_EQ(data, data_at < 0 ? nullptr : exact.data() + data_at) << text;
  }
}

// The fuzz target of get_chunk holds the calls against each other.
TEST(HttpRaw, ChunksAreCountedAndPutTogether) {
  // body, its whole chunks, whether it has its end, and its data
  const Rows<int, int, Text> kCases = {{"3\r\nabc\r\n0\r\n\r\n", 2, 1, "abc"},
                                       {"3\r\nabc\r\n0\r\n", 1, 0, "abc"},
                                       {"3\r\nabc\r\n0\r\nTrailer: x\r\n\r\n", 2, 1, "abc"},
                                       {"3\r\nabc\r\nA\r\n0123456789\r\n", 2, 0, "abc0123456789"},
                                       {"3\r\nabc\r", 0, 0, "abc"},
                                       {"1\r\na\r\n7fffffff\r\nbc\r\n", 1, 0, "abc\r\n"},
                                       {"1\r\na\r\n-1\r\nb\r\n0\r\n\r\n", 1, 0, "a"}};
  for (const auto& [text, chunks, ended, data] : kCases) {
    Exact body{std::string(text)};
    const int length = static_cast<int>(body.size());
    EXPECT_EQ(get_chunk_num(body.data(), length), chunks) << text;
    EXPECT_EQ(check_chunk_page_end(body.data(), length), ended) << text;
    EXPECT_EQ(std::string(body.data(), body.data() + get_chunk_page(body.data(), length)), data) << text;
  }
}

TEST(HttpRaw, ShortMemoryIsAFailureOfEveryCall) {
  const Pool owner = new_pool();
  mem_pool* const pool = owner.get();
  http_header_elem* list = list_of(owner, kHeader);
  char response[] = "HTTP/1.1 200 OK\r\nA: b\r\n\r\n", *text = nullptr, *ip = nullptr, *path = nullptr;
  int number = 0;
  const std::function<int()> kCalls[] = {
      [&] { return http_header_list_add_elem(pool, &list, "a", "c"); },
      [&] { return http_header_list_del_elem(pool, &list, "x"); },
      [&] { return http_encode_post_data(pool, list, &text, &number); },
      [&] { return generate_http_request(pool, "GET", "/", list, nullptr, nullptr, 0, &text, &number); },
      [&] { return resolve_url(pool, "10.0.0.1/a", &text, &ip, &number, &path); },
      [&] { return parse_http_response(pool, response, 27, &number, &text, &list, nullptr, nullptr, 0); }};
  for (const auto& call : kCalls) {
    int needed = 0;
    for (allocations_left = 0; call() == -1; allocations_left = ++needed) ASSERT_LT(needed, 5);
    EXPECT_GT(needed, 0);
    EXPECT_EQ(allocations_left, 0) << "it succeeded only when none failed";
  }
  allocations_left = -1;
}
