// client.h: the router's management interface: one GET whose parameters are its method text, one JSON answer.
#pragma once

#include <cstdint>
#include <cstdio>

#include "base/json.h"
#include "base/patience.h"

#define ROUTER_PRINT(who, text, ...) printf("[%s][%s]" text, (who), (who), ##__VA_ARGS__)

namespace zel {

struct router_api_request {
  char url[1024];
  int32_t url_len;       // where the next text is appended
  char response[10240];  // HttpGet fills less.
};
static_assert(sizeof(router_api_request) == 11268);

// How what goes wrong is reported: printed to standard output under the name of the function, twice in brackets, with
// the address of the JSON item; or, if there is a `response` to show instead, by QO_Log.
struct Reporter {
  const char* response = nullptr;
};

// The member of that name and type, which counts as missing otherwise. Null is reported.
[[nodiscard]] const cJSON* get_cjson_item(const cJSON* object, const char* key, JsonType type,
                                          Reporter reporter = {});

enum EnvelopeFailure : int { kNoHeader = -100, kNoErrorCode = -101, kNoErrorMsg = -102 };

// An answer's "ResponseHeader".
struct Envelope {
  int error_code = 0;
  const cJSON* error_msg = nullptr;  // Its text if error_code is not 0; part of the answer.
};

// Returns 0 or an EnvelopeFailure, which is reported and leaves the envelope as it was.
[[nodiscard]] int parse_response_header(const cJSON* root, Envelope* envelope, Reporter reporter = {});

// One request and its answer.
class Exchange {
 public:
  enum class Reports { kPrinted, kLogged };

  // `who` is the call that asks.
  explicit Exchange(const char* who, Reports reports = Reports::kPrinted) noexcept
      : who_(who), reporter_{reports == Reports::kLogged ? request_.response : nullptr} {}

  // Appends the interface's address and the method text, which may hold parameters and is sent as it stands; cut to
  // the URL's size. Returns the URL's length. A full URL is left as it is. To be called once.
  int add_method(const char* method);

  // Send the request. Return 0, -1 for an empty URL, -2 if the transfer failed.
  [[nodiscard]] int excute_http_get();
  [[nodiscard]] int excute_http_get_for_dns();

  // Parses the answer and checks its envelope. False for a malformed answer and for one that reports an error.
  [[nodiscard]] bool parse_answer();

  // The same with what a query returns: 0 if there is a payload to read; else the router's error code, whose text is
  // printed where messages are, or -1.
  [[nodiscard]] int open();

  // All of the above for a query that is not about DNS.
  [[nodiscard]] int run(const char* method);

  const char* response() const noexcept { return request_.response; }
  const cJSON* root() const noexcept { return root_.get(); }
  Reporter reporter() const noexcept { return reporter_; }

 private:
  [[nodiscard]] int execute(const char* who, const Patience& patience);

  const char* const who_;
  router_api_request request_{};
  const Reporter reporter_;
  JsonTree root_;
  Envelope envelope_;
};

}  // namespace zel
