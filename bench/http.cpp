// HttpGet beside a bare libcurl transfer with the same options, from the same server: the time, and the bytes
// that one call allocates.
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <zel/http.h>
#include "canned_server.h"
#include "pairs.h"

// The program's own allocator counts and passes on to the C library's. The names are that library's.
extern "C" {
void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
}

namespace {

std::atomic<size_t> allocated_bytes{0};
std::atomic<size_t> allocations{0};

void count(size_t bytes) {
  allocated_bytes.fetch_add(bytes, std::memory_order_relaxed);
  allocations.fetch_add(1, std::memory_order_relaxed);
}

}  // namespace

void* malloc(size_t size) {
  count(size);
  return __libc_malloc(size);
}

void* calloc(size_t number, size_t size) {
  count(number * size);
  return __libc_calloc(number, size);
}

void* realloc(void* memory, size_t size) {
  count(size);
  return __libc_realloc(memory, size);
}

namespace {

constexpr int kTimeoutSeconds = 5;

bool bare_get(const char* url, bench::Text& body) {
  return bench::bare_transfer(url, nullptr, kTimeoutSeconds, body);
}

bool our_get(const char* url, char* result) {
  return HttpGet(result, url, kTimeoutSeconds, 1) == 0;
}

struct Allocated {
  size_t bytes;
  size_t times;
};

// What one call allocates, as the mean of several.
template <class Call>
Allocated count_allocations(Call call) {
  constexpr size_t kCalls = 20;
  const Allocated before = {allocated_bytes, allocations};
  for (size_t number = 0; number < kCalls; ++number) call();
  return {(allocated_bytes - before.bytes) / kCalls, (allocations - before.times) / kCalls};
}

void compare(size_t size) {
  const std::string body(size, 'b');
  const std::string url = bench::CannedServer({body}).url();
  const std::string what = "HttpGet, " + std::to_string(size) + " bytes";
  static bench::Text theirs;
  static char ours[ZEL_HTTP_RESULT_SIZE];
  // The first of each also makes what the process keeps.
  if (!bare_get(url.c_str(), theirs) || !our_get(url.c_str(), ours) || theirs.bytes != body || ours != body) {
    std::fputs("HttpGet: the two transfers differ\n", stderr);
    std::exit(1);
  }
  const Allocated our_share = count_allocations([&] { our_get(url.c_str(), ours); });
  const Allocated their_share = count_allocations([&] { bare_get(url.c_str(), theirs); });
  std::printf("%s: ours allocates %zu bytes in %zu pieces, the peer %zu in %zu\n", what.c_str(),
              our_share.bytes, our_share.times, their_share.bytes, their_share.times);
  std::fflush(stdout);
  pairs::compare(
      what, [url] { benchmark::DoNotOptimize(our_get(url.c_str(), ours)); },
      [url] { benchmark::DoNotOptimize(bare_get(url.c_str(), theirs)); });
}

}  // namespace

int main(int argc, char** argv) {
  bench::stay_on_one_processor();
  for (const size_t size : {100U, 4000U}) compare(size);
  // Most of a call is the kernel's and varies; many short repetitions find quiet moments on a busy machine.
  char repetitions[] = "--benchmark_repetitions=500";
  char duration[] = "--benchmark_min_time=0.001";
  std::vector<char*> options = {argv[0], repetitions, duration};
  options.insert(options.end(), argv + 1, argv + argc);
  return pairs::run(static_cast<int>(options.size()), options.data());
}
