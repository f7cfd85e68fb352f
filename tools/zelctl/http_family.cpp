// zelctl http: transfers as plug-ins make them.
#include <sys/stat.h>
#include <unistd.h>
#include <zel/http.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "clock.h"
#include "ending.h"
#include "families.h"
#include "handles.h"
#include "output.h"
#include "result.h"
#include "text.h"

namespace zelctl {
namespace {

// Of the last answer; -1 if there was none of HTTP/1.
int status_of(HttpUploader* transfer) {
  const int code = transfer->GetHttpCode(0);
  return code == 0 ? 200 : code;
}

// What the last answer's header says of it; 0 where it says nothing.
size_t promised_length(const char* header) {
  static constexpr const char* kName = "\ncontent-length:";
  const char* last = nullptr;
  while ((header = strcasestr(header, kName)) != nullptr) last = header += std::strlen(kName);
  return last != nullptr ? std::strtoul(last, nullptr, 10) : 0;
}

int show_answer(HttpUploader* transfer) {
  const size_t length = std::strlen(transfer->body);
  const bool cut = length == ZEL_HTTP_TEXT_MAX || promised_length(transfer->header) > length;
  if (manner().json) {
    Result result;
    add_number(result.json(), "status", status_of(transfer));
    add_text(result.json(), "header", transfer->header);
    add_text(result.json(), "body", transfer->body);
    add_bool(result.json(), "may_be_longer", cut);
    result.show();
  } else {
    print(isatty(output_fd()) == 1 ? readable(transfer->body, "\n\t") : transfer->body);
  }
  if (cut)
    note("these are the first %zu bytes of the body: the library keeps a text up to a byte of 0", length);
  return kDone;
}

struct Tries {
  int seconds, count;
  int64_t begin = now_ms();
};
Tries tries_of(const Call& call) {
  const char* const seconds = call.option("timeout");
  const char* const count = call.option("tries");
  return {seconds != nullptr ? static_cast<int>(number_value("--timeout", seconds, 1, 86400)) : 30,
          count != nullptr ? static_cast<int>(number_value("--tries", count, 1, 1000)) : 1};
}

int finish(HttpUploader* transfer, int result, const char* url, const Tries& tries) {
  if (result == 0) return show_answer(transfer);
  const int status = status_of(transfer);
  if (status > 0 && status != 200)
    fail_with(status, kFailed, "Only the status 200 is a success to the library.",
              "%s answered with another status than 200", url);
  if (now_ms() - tries.begin >= int64_t{1000} * tries.seconds * tries.count)
    fail_with(result, kTimedOut, "More time: --timeout S, more tries: --tries N",
              "%s gave no answer within %d s", url, tries.seconds * tries.count);
  fail_with(result, kFailed,
            "Is the address right, and does the server run? What else is wrong: zelctl doctor",
            "%s gave no answer of HTTP/1", url);
}

int get(const Call& call) {
  const Tries tries = tries_of(call);
  const char* const url = call.argument(0);
  const auto transfer = std::make_unique<HttpUploader>(url);
  return finish(transfer.get(), transfer->get(tries.seconds, tries.count), url, tries);
}

int post(const Call& call) {
  const Tries tries = tries_of(call);
  const char* const url = call.argument(0);
  const char* const path = call.argument(1);
  File file(std::fopen(path, "re"));
  struct stat about {};
  if (!file || fstat(fileno(file.get()), &about) != 0)
    fail(exit_for(errno), "Name a file that this user may read.", "%s: %s", path, std::strerror(errno));
  if (!S_ISREG(about.st_mode)) fail(kFailed, "Write it into a file first.", "%s is no plain file", path);
  if (about.st_size == 0) fail(kFailed, "Name a file with something in it.", "%s is empty", path);
  if (about.st_size > INT32_MAX) fail(kFailed, "Post it in parts.", "%s is larger than 2 GiB", path);
  const auto transfer = std::make_unique<HttpUploader>(url);
  transfer->source.mode = 1;
  transfer->source.length = static_cast<uint32_t>(about.st_size);
  transfer->source.file = file.release();  // The transfer closes it.
  return finish(transfer.get(), transfer->post(tries.seconds, tries.count), url, tries);
}

constexpr Option kTries[] = {
    {"timeout", "S", "Seconds for one try, 30 unless given"},
    {"tries", "N", "How often it is tried at most, once unless given"},
};

constexpr Command kCommands[] = {
    {"http get", "URL", "Fetch a URL and print the body, a text: it ends at a byte of 0",
     "zelctl http get 'http://127.0.0.1:14000/api?method=query_wan_transmission_rate'", get, kTries},
    {"http post", "URL FILE", "Post a file's bytes to a URL and print the answer's body",
     "echo '{\"id\": 1, \"method\": \"aria2.getVersion\"}' >/tmp/question && "
     "zelctl http post http://127.0.0.1:6800/jsonrpc /tmp/question",
     post, kTries},
};

}  // namespace

constinit const Family kHttpFamily = {"http", "HTTP requests as plug-ins make them", kCommands};

}  // namespace zelctl
