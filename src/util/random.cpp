// Random text.
#include <sys/time.h>

#include <cstdlib>

#include <zel/util.h>

void generate_rand_hex_fill(char* destination, int length) {
  struct timeval now;
  gettimeofday(&now, nullptr);
  srand(static_cast<unsigned>(now.tv_sec % 1000 + now.tv_usec));
  if (destination == nullptr) return;
  char* out = destination;
  // rand() will do: the digits keep names apart, they guard nothing.
  for (int left = length; left > 0; --left) *out++ = "0123456789abcdef"[rand() & 15];  // NOLINT(cert-msc30-c)
  *out = '\0';
}
