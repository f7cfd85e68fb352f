/* Prints what a URL holds. */
#include <stdio.h>
#include <zel/zel.h>

static int fetch(mem_pool* pool, const char* url) {
  char *host, *ip = NULL, *path, *request, *response = NULL, *body = NULL;
  int port, request_length, response_length = 0, body_length = 0, status, result;
  http_header_elem* headers = NULL;
  if (resolve_url(pool, url, &host, &ip, &port, &path) != 0 || ip == NULL) return -1;
  if (http_header_list_add_elem(pool, &headers, "Host", host) != 0 ||
      http_header_list_add_elem(pool, &headers, "Connection", "close") != 0 ||
      generate_http_request(pool, "GET", path, headers, NULL, NULL, 0, &request, &request_length) != 0)
    return -1;
  result = http_connect(pool, ip, port, request, request_length, &response, &response_length, 3000);
  if (result != 0) return result;
  if (parse_http_response(pool, response, response_length, &status, NULL, NULL, &body, &body_length, 1) != 0)
    return -1;
  printf("status %d, %d bytes\n", status, body_length);
  return 0;
}

int main(int argc, char** argv) {
  mem_pool* pool = mem_create_pool(4096, NULL, 0);
  int result = 1;
  if (pool != NULL && argc == 2) {
    result = fetch(pool, argv[1]);
    printf("result %d\n", result);
  }
  mem_destroy_pool(pool);
  return result == 0 ? 0 : 1;
}
