// client.h: the router's management interface: one GET whose parameters are its method text, one JSON answer.
//
// What goes wrong here is printed to standard output under the name of the function, twice in brackets.
#pragma once

#include <cstdint>
#include <cstdio>

#include "base/json.h"

#define ROUTER_PRINT(who, text, ...) printf("[%s][%s]" text, (who), (who), ##__VA_ARGS__)

namespace zel {

// Clear it before use: url_len is where the next text is appended.
struct router_api_request {
  char url[1024];
  int32_t url_len;
  char response[10240];  // HttpGet fills less.
};
static_assert(sizeof(router_api_request) == 11268);

enum EnvelopeFailure : int { kNoHeader = -100, kNoErrorCode = -101, kNoErrorMsg = -102 };

// Appends the interface's address and the method text, which may hold parameters and is sent as it stands; cut
// to the URL's size. Returns the URL's length. A full URL is left as it is.
int add_method(router_api_request* request, const char* method) noexcept;

// Send the request. Return 0, -1 for no request or an empty URL, -2 if the transfer failed. The second is for
// DNS, which the router takes longer to apply.
int excute_http_get(router_api_request* request) noexcept;
int excute_http_get_for_dns(router_api_request* request) noexcept;

// Checks the answer's "ResponseHeader". Returns 0 or an EnvelopeFailure; with 0, `code` holds the router's
// error code and, if that is not 0, `message` its text. Otherwise they are untouched.
int parse_response_header(const cJSON* root, int* code, const cJSON** message) noexcept;

// The member of that name and type, or null.
const cJSON* get_cjson_item(const cJSON* object, const char* key, JsonType type) noexcept;

// An answer as the router meant it.
struct Answer {
  JsonTree root;
  int error_code = 0;
  const cJSON* error_msg = nullptr;  // Part of root.
};

// Parses a response and checks its envelope. False, with the reason printed under the name of the query, for a
// malformed answer and for one that reports an error.
bool parse_answer(const char* who, const char* response, Answer* answer) noexcept;

// The steps that all queries but those about DNS have in common.
class Query {
 public:
  explicit Query(const char* who) noexcept : who_(who) {}

  bool fetch(const char* method) noexcept;
  const char* response() const noexcept { return request_.response; }

  // Returns 0 if there is a payload to read; else the router's error code, with its text printed, or -1.
  int open() noexcept;
  const cJSON* root() const noexcept { return answer_.root.get(); }

  // Both steps.
  int run(const char* method) noexcept { return fetch(method) ? open() : -1; }

 private:
  const char* const who_;
  router_api_request request_{};
  Answer answer_;
};

}  // namespace zel
