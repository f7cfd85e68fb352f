// What the client on plain sockets writes and reads: lists, requests, URLs, responses, chunks. The program's own
// resolver and pool calls take the place of the system's and the library's.
#include <arpa/inet.h>
#include <dlfcn.h>
#include <netdb.h>

#include <functional>
#include <vector>

#include "raw.h"

using test::Pool;

namespace {

int allocations_left = -1;  // before one fails; negative: none does

template <class Function>
void* allocated(Function*, const char* name, mem_pool* pool, size_t size) {
  if (allocations_left-- == 0) return nullptr;
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name))(pool, size);
}

using Pairs = std::vector<std::pair<Text, Text>>;

http_header_elem* list_of(mem_pool* pool, const Pairs& pairs) {
  http_header_elem* list = nullptr;
  for (const auto& [name, value] : pairs) {
    EXPECT_EQ(http_header_list_add_elem(pool, &list, name, value), 0);
    if (*value == '-') list->value = nullptr;
  }
  return list;
}

std::string text_of(const http_header_elem* list) {
  std::string text;
  for (; list != nullptr; list = list->next) text += std::string(list->name) + "=" + list->value + ";";
  return text;
}

}  // namespace

void* mem_palloc_safe(mem_pool* pool, size_t size) {
  return allocated(mem_palloc_safe, __func__, pool, size);
}

void* mem_pcalloc_safe(mem_pool* pool, size_t size) {
  return allocated(mem_pcalloc_safe, __func__, pool, size);
}

// Knows dotted addresses and "six".
int gethostbyname_r(const char* name, hostent* space, char* room, size_t, hostent** host, int* error) {
  auto* const list = reinterpret_cast<char**>(room);
  *space = {};
  space->h_addrtype = std::string(name) == "six" ? AF_INET6 : AF_INET;
  list[0] = room + 64;
  space->h_addr_list = list;
  *error = HOST_NOT_FOUND;
  *host = nullptr;
  if (inet_pton(space->h_addrtype, space->h_addrtype == AF_INET6 ? "fe80::1" : name, list[0]) == 1)
    *host = space;
  return 0;
}

TEST(HttpRaw, ListsKeepOneElementOfANameNewestFirst) {
  const Pool pool;
  http_header_elem* list = list_of(pool, {{"A", "1"}, {"B", "2"}, {"C", "3"}, {"b", "4"}});
  EXPECT_EQ(text_of(list), "C=3;b=4;A=1;");
  for (const auto& [name, left] :
       {std::pair{"X", "C=3;b=4;A=1;"}, {"B", "C=3;A=1;"}, {"c", "A=1;"}, {"A", ""}}) {
    EXPECT_EQ(http_header_list_del_elem(pool, &list, name), 0);
    EXPECT_EQ(text_of(list), left);
  }
  EXPECT_EQ(http_header_list_add_elem(pool, &list, "A", nullptr), -1);
  EXPECT_EQ(http_header_list_add_elem(nullptr, &list, "A", "1"), -1);
  EXPECT_EQ(http_header_list_del_elem(pool, nullptr, "A"), -1);
}

TEST(HttpRaw, RequestsAreWrittenAsGiven) {
  const Rows<Text, Text, Pairs, Pairs, std::string, int, Text> kCases = {
      {"the least", "PUT", "/a", {{"Host", "h"}}, {}, "", 0, "PUT /a HTTP/1.1\r\nHost:h\r\n\r\n"},
      {"parameters, unescaped",
       "GET",
       "/",
       {{"H", ""}},
       {{"a", "1"}, {"b", "2 &"}},
       "",
       0,
       "GET /?b=2 &&a=1 HTTP/1.1\r\nH:\r\n\r\n"},
      {"without values",
       "GET",
       "",
       {{"H", "h"}, {"I", "-"}},
       {{"a", "1"}, {"b", "-"}},
       "",
       0,
       "GET ?a=1 HTTP/1.1\r\nH:h\r\n\r\n"},
      {"no value at all", "GET", "/", {{"H", "-"}}, {{"b", "-"}}, "", 0, "GET /? HTTP/1.1\r\n\r\n"},
      {"a body", "POST", "/", {{"H", "h"}}, {}, "x\ny", 0, "POST / HTTP/1.1\r\nH:h\r\n\r\nx\ny"},
      {"no headers", "delete", "/", {}, {}, "", -1, ""},
      {"small letters", "get", "/", {{"H", "h"}}, {}, "", -2, ""},
      {"another method", "GETS", "/", {{"H", "h"}}, {}, "", -2, ""}};
  for (const auto& [why, method, path, headers, parameters, body, code, text] : kCases) {
    const Pool pool;
    const http_header_elem* const head = list_of(pool, headers);
    char* request = nullptr;
    int length = 0;
    EXPECT_EQ(generate_http_request(pool, method, path, head, list_of(pool, parameters), body.data(),
                                    static_cast<int>(body.size()), &request, &length),
              code)
        << why;
    EXPECT_EQ(std::string(request != nullptr ? request : ""), text) << why;
    EXPECT_EQ(length, strlen(text)) << why;
    EXPECT_EQ(generate_http_request(pool, "GET", path, head, nullptr, "b", -1, &request, &length), -1) << why;
  }
}

TEST(HttpRaw, FormsAreEscaped) {
  const Pool pool;
  char* text = nullptr;
  int length = 0;
  const http_header_elem* const list = list_of(pool, {{"a b", "1&2"}, {"\xff=", ""}, {"skipped", "-"}});
  EXPECT_EQ(http_encode_post_data(pool, list, &text, &length), 0);
  EXPECT_EQ(std::string(text, static_cast<size_t>(length)), "%FF%3D=&a%20b=1%262");
  EXPECT_EQ(http_encode_post_data(pool, list, &text, nullptr), 0);
  EXPECT_EQ(http_encode_post_data(pool, nullptr, &text, &length), -1);
}

TEST(HttpRaw, UrlsAreTakenApart) {
  const Rows<Text, int, Text, Text> kCases = {
      {"http://10.0.0.1:8080/x/y", "10.0.0.1:8080", 8080, "/x/y", "10.0.0.1"},
      {"10.0.0.2", "10.0.0.2", 80, "/", "10.0.0.2"},
      {"http://", "", 80, "/", nullptr},
      {"Http://a/", "Http:", 0, "//a/", nullptr},
      {"https://a", "https:", 0, "//a", nullptr},
      {"six:1:2/?a=b", "six:1:2", 1, "/?a=b", "fe80::1"},
      {"nobody:99999999999x", "nobody:99999999999x", INT_MAX, "/", nullptr}};
  for (const auto& [url, host, port, path, ip] : kCases) {
    const Pool pool;
    char *found_host = nullptr, *found_path = nullptr, *found_ip = nullptr;
    int found_port = -5;
    EXPECT_EQ(resolve_url(pool, url, nullptr, &found_ip, &found_port, nullptr), 0) << url;
    EXPECT_EQ(found_port, -5) << url;
    EXPECT_EQ(resolve_url(pool, url, &found_host, &found_ip, &found_port, &found_path), 0) << url;
    EXPECT_STREQ(found_host, host) << url;
    EXPECT_EQ(found_port, port) << url;
    EXPECT_STREQ(found_path, path) << url;
    EXPECT_STREQ(found_ip, ip) << url;
  }
  const Pool pool;
  EXPECT_EQ(resolve_url(pool, "", nullptr, nullptr, nullptr, nullptr), -1);
  EXPECT_EQ(resolve_url(nullptr, "a", nullptr, nullptr, nullptr, nullptr), -1);
}

TEST(HttpRaw, ResponsesAreTakenApart) {
  const std::string ok = "HTTP/1.1 200 OK\r\n";
  const std::string chunked = ok + "transfer-encoding: Chunked\r\n\r\n";
  const std::string n63(63, 'n'), v1022(1022, 'v');
  const Rows<std::string, int, int, Text, std::string, Text> kCases = {
      {"whole", ok + "A: 1\r\nB:2\r\n\r\nbody", 0, 200, "HTTP/1.1", "B=2;A=1;", "body"},
      {"no headers", ok + "\r\n\r\n", 0, 200, "HTTP/1.1", "", "\r\n"},
      {"other line ends", "HTTP/1.0 404 Not\nA: b\n\nC: d", 0, 404, "HTTP/1.0", "A=b;", nullptr},
      {"no end of the headers", ok + "A: b\r\nC: d", 0, 200, "HTTP/1.1", "A=b;", nullptr},
      {"blanks", ok + "\tA :  b\t \r\nC:\r\n\r\n", 0, 200, "HTTP/1.1", "C=;A= b;", ""},
      {"no colon", ok + "what\r\nA: b:c\r\nwhat\r\n\r\n", 0, 200, "HTTP/1.1", "A=b:c;", ""},
      {"repeated", ok + "A: 1\r\nB: 2\r\na: 3\r\n\r\n", 0, 200, "HTTP/1.1", "B=2;a=3;", ""},
      {"long", ok + n63 + ":" + v1022 + "w\r\n\r\n", 0, 200, "HTTP/1.1", n63 + "=" + v1022 + "w;", ""},
      {"too long", ok + n63 + "n: " + v1022 + "w\r\n\r\n", 0, 200, "HTTP/1.1", n63 + "=" + v1022 + ";", ""},
      {"long words", "HTTP/1.1-and-some-more 00000000000002001 OK\r\n", 0, 20, "HTTP/1.1-and-so", "",
       nullptr},
      {"no status", "HTTP/1.1\r\n", 0, 0, "HTTP/1.1", "", nullptr},
      {"nothing", "\r\nA: b\r\n\r\nc", 0, 0, nullptr, "A=b;", "c"},
      {"no line", "HTTP/1.1 200 OK\r", -2, -5, "untouched", "", nullptr},
      {"chunks", chunked + "3\r\nabc\r\n1\r\nd\r\n0\r\n\r\n", 0, 200, "HTTP/1.1",
       "transfer-encoding=Chunked;", "abcd"},
      {"cut chunk", chunked + "ff\r\nabc", 0, 200, "HTTP/1.1", "transfer-encoding=Chunked;", "abc"},
      {"bad chunks", chunked + "?", 0, 200, "HTTP/1.1", "transfer-encoding=Chunked;", ""}};
  for (const auto& [why, text, code, status, version, headers, body] : kCases) {
    const Pool pool;
    Exact response(text);
    const int length = static_cast<int>(text.size());
    int found_status = -5, found_length = 0;
    char untouched[] = "untouched", *found_version = untouched, *found_body = nullptr;
    http_header_elem* list = nullptr;
    EXPECT_EQ(parse_http_response(pool, response.data(), length, &found_status, &found_version, &list,
                                  &found_body, &found_length, 1),
              code)
        << why;
    EXPECT_EQ(found_status, status) << why;
    EXPECT_STREQ(found_version, version) << why;
    EXPECT_EQ(text_of(list), headers) << why;
    ASSERT_EQ(found_body != nullptr, body != nullptr) << why;
    EXPECT_EQ(std::string(body != nullptr ? found_body : "", static_cast<size_t>(found_length)),
              body != nullptr ? body : "")
        << why;
  }
  char text[] = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n1\r\na\r\n0\r\n\r\n";
  int status = 0, length = 0;
  char* body = nullptr;
  EXPECT_EQ(parse_http_response(nullptr, text, sizeof text - 1, &status, nullptr, nullptr, &body, &length, 0),
            0);
  EXPECT_STREQ(body, "1\r\na\r\n0\r\n\r\n");
  EXPECT_EQ(parse_http_response(nullptr, text, sizeof text - 1, &status, nullptr, nullptr, &body, &length, 1),
            0);
  EXPECT_STREQ(body, "a");
  EXPECT_EQ(parse_http_response(nullptr, text, -1, &status, nullptr, nullptr, nullptr, nullptr, 0), -1);
}

TEST(HttpRaw, ChunkSizesAreReadAsHexadecimalLines) {
  const Rows<int, int> kCases = {{"1a\r\ndata", 26, 4},
                                 {"1A\r\n", 26, 4},
                                 {"1a;x=1\r\n", -1, -1},
                                 {"1a", -1, -1},
                                 {"1a\r", -1, -1},
                                 {"\r\n1a\r\n", -1, -1},
                                 {"\r\n", -1, -1},
                                 {" 0x10\r\n", 16, 7},
                                 {"-2\r\n", -2, 4},
                                 {"", -1, -1},
                                 {"ffffffffffffffffff\r\n", INT_MAX, 20},
                                 {"80000000\r\n", INT_MAX, 10},
                                 {"0\r\n\r\n", 0, 3},
                                 {"0x\r\n", -1, -1},
                                 {" \t", -1, -1}};
  for (const auto& [text, size, data_at] : kCases) {
    Exact exact{std::string(text)};
    char untouched, *data = &untouched;
    EXPECT_EQ(get_chunk_size(exact.data(), static_cast<int>(exact.size()), &data), size) << text;
    EXPECT_EQ(data, data_at < 0 ? nullptr : exact.data() + data_at) << text;
  }
}

TEST(HttpRaw, ChunksAreCountedFoundAndPutTogether) {
  // body, its whole chunks, whether it has its end, and its data
  const Rows<int, int, std::string> kCases = {{"3\r\nabc\r\n0\r\n\r\n", 2, 1, "abc"},
                                              {"3\r\nabc\r\n0\r\n", 1, 0, "abc"},
                                              {"3\r\nabc\r\n0\r\nTrailer: x\r\n\r\n", 2, 1, "abc"},
                                              {"3\r\nabc\r\nA\r\n0123456789\r\n", 2, 0, "abc0123456789"},
                                              {"3\r\nabc", 0, 0, "abc"},
                                              {"3\r\nabc\r", 0, 0, "abc"},
                                              {"3\r\nab", 0, 0, "ab"},
                                              {"1\r\na\r\n7fffffff\r\nbc\r\n", 1, 0, "abc\r\n"},
                                              {"1\r\na\r\n-1\r\nb\r\n0\r\n\r\n", 1, 0, "a"},
                                              {"1\r\na\r\n1;x\r\nb\r\n", 1, 0, "a"},
                                              {"", 0, 0, ""}};
  for (const auto& [text, count, ended, data] : kCases) {
    Exact body{std::string(text)};
    const int length = static_cast<int>(body.size());
    EXPECT_EQ(get_chunk_num(body.data(), length), count) << text;
    EXPECT_EQ(check_chunk_page_end(body.data(), length), ended) << text;
    char *begin = nullptr, *end = body.data();
    for (int index = 0; index < count; ++index) {
      const char* const expected = end;  // one chunk follows the other
      EXPECT_EQ(get_chunk(body.data(), length, index, &begin, &end), 0) << text;
      EXPECT_EQ(begin, expected) << text;
    }
    for (const int index : {-1, count})
      EXPECT_EQ(get_chunk(body.data(), length, index, &begin, &end), -1) << text;
    EXPECT_EQ(get_chunk_page(body.data(), length), data.size()) << text;
    EXPECT_EQ(body.all().substr(0, data.size()), data);
  }
}

TEST(HttpRaw, ShortMemoryIsAFailureOfEveryCall) {
  const Pool pool;
  http_header_elem* list = list_of(pool, {{"a", "b"}});
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
    EXPECT_EQ(allocations_left, 0);  // it succeeded only when none failed
  }
  allocations_left = -1;
}
