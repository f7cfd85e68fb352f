#include "download/exchange.h"

#include <zel/download.h>
#include <zel/http.h>

#include <cstring>

#include "base/log.h"

char dst_buffer[51200];

static_assert(sizeof dst_buffer >= ZEL_HTTP_RESULT_SIZE);

namespace zel::download {

Mutex Exchange::turns_;

bool Exchange::post(const JsonText& request, const Patience& patience) {
  constexpr char kDaemon[] = "http://" ZEL_DOWNLOAD_HOST ":6800/jsonrpc";
  if (!request) return false;
  const auto length = static_cast<uint32_t>(strlen(request.get()));
  return HttpPostBuffer(dst_buffer, kDaemon, request.get(), length, patience.seconds, patience.attempts) == 0;
}

const char* Exchange::answer() const noexcept {
  return dst_buffer;
}

JsonTree Exchange::parse() const noexcept {
  return JsonTree(cJSON_Parse(dst_buffer));
}

int fail(const char* who, const char* message, int line) {
  ZEL_LOG_AT(who, line, LOG_ERR, "[ZEL]", "%s", message);
  return -1;
}

}  // namespace zel::download
