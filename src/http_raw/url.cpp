// A URL's parts and its host's address.
#include <arpa/inet.h>
#include <netdb.h>
#include <zel/http_raw.h>

#include <algorithm>
#include <string_view>

#include "base/number.h"
#include "base/uncancelled.h"
#include "http_raw/pool_text.h"

namespace {

using std::string_view;
using zel::http::copy_to;

constexpr string_view kScheme = "http://";
constexpr int kDefaultPort = 80;
constexpr size_t kAddressSize = 32;
constexpr size_t kResolverRoom = 8192;

// Stores the first address of a host that has one. False when memory is short.
bool look_up(mem_pool* pool, const char* name, char** ip) {
  char room[kResolverRoom];
  hostent space;
  hostent* host = nullptr;
  int error;
  const zel::Uncancelled uncancelled;  // The C library would keep its lock.
  if (gethostbyname_r(name, &space, room, sizeof room, &host, &error) != 0 || host == nullptr) return true;
  if (host->h_addrtype != AF_INET && host->h_addrtype != AF_INET6) return true;
  if (host->h_addr_list[0] == nullptr) return true;
  char* const text = static_cast<char*>(mem_pcalloc_safe(pool, kAddressSize));
  if (text == nullptr) return false;
  // Kept: a long IPv6 address finds no room and leaves the text empty.
  inet_ntop(host->h_addrtype, host->h_addr_list[0], text, kAddressSize);
  *ip = text;
  return true;
}

}  // namespace

int resolve_url(mem_pool* pool, const char* url, char** host, char** ip, int* port, char** path) {
  if (pool == nullptr || url == nullptr || *url == '\0') return -1;
  string_view rest = url;
  if (rest.starts_with(kScheme)) rest.remove_prefix(kScheme.size());
  const size_t slash = std::min(rest.find('/'), rest.size());
  const string_view host_part = rest.substr(0, slash);
  if (host != nullptr && (*host = copy_to(pool, host_part)) == nullptr) return -1;
  if (path != nullptr) {
    *path = copy_to(pool, slash < rest.size() ? rest.substr(slash) : "/");
    if (*path == nullptr) return -1;
  }
  // Kept: without a variable for the host neither address nor port is found.
  if (host == nullptr || (ip == nullptr && port == nullptr)) return 0;

  const size_t colon = host_part.find(':');
  if (port != nullptr) {
    *port = colon == string_view::npos ? kDefaultPort : zel::leading_number<int>(*host + colon + 1);
  }
  if (ip == nullptr) return 0;
  const char* const name = copy_to(pool, host_part.substr(0, colon));
  return name != nullptr && look_up(pool, name, ip) ? 0 : -1;
}
