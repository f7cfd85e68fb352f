// Dotted addresses only: the program's own resolver takes the system's place.
#include <arpa/inet.h>
#include <netdb.h>

#include <cstring>

#include "http_pool.h"

int gethostbyname_r(const char* name, hostent* space, char* room, size_t, hostent** host, int* error) {
  *host = nullptr;
  *error = HOST_NOT_FOUND;
  auto* const addresses = reinterpret_cast<char**>(room);
  addresses[0] = room + 2 * sizeof(char*);
  addresses[1] = nullptr;
  if (inet_pton(AF_INET, name, addresses[0]) != 1) return HOST_NOT_FOUND;
  *space = {};
  space->h_addrtype = AF_INET;
  space->h_addr_list = addresses;
  *host = space;
  return 0;
}

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string url = text_of(data, size).c_str();  // up to a NUL
  Exact exact(url + '\0');
  const Pool pool = new_pool();
  char *host = nullptr, *ip = nullptr, *path = nullptr;
  int port = -1;
  const int code = resolve_url(pool.get(), exact.data(), &host, &ip, &port, &path);
  check(code == (url.empty() ? -1 : 0));
  if (code != 0) return 0;
  const bool has_scheme = url.compare(0, 7, "http://") == 0;
  const std::string rest = url.substr(has_scheme ? 7 : 0);
  check(rest == std::string(host) + path || (rest == host && strcmp(path, "/") == 0));
  check(strchr(host, '/') == nullptr && *path == '/');
  check(strchr(host, ':') != nullptr || port == 80);
  check(ip == nullptr || strncmp(host, ip, strlen(ip)) == 0);
  return 0;
}
