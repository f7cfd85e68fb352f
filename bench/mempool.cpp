// The memory pool beside malloc and free, the standard library's monotonic resource and, where it is installed,
// APR's pools. Each makes the same requests, writes to every piece, and then gives all back: the time, and the
// memory held before that.
#include <fcntl.h>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <memory_resource>
#include <numeric>
#include <random>
#include <vector>

#include <zel/mempool.h>
#include "pairs.h"
#ifdef WITH_APR
#include <apr_pools.h>
#endif

namespace {

struct Requests {
  std::string name;
  size_t block;  // the pool's size and that of the monotonic resource's first buffer
  std::vector<size_t> sizes;
};

class Ours {
 public:
  explicit Ours(const Requests& requests) : pool_(mem_create_pool(requests.block, nullptr, 0)) {}
  ~Ours() { mem_destroy_pool(pool_); }
  void* take(size_t size) { return mem_palloc(pool_, size); }

 private:
  mem_pool* pool_;
};

class Malloc {
 public:
  static constexpr char kName[] = "malloc and free";
  explicit Malloc(const Requests& requests) {
    if (pieces().size() < requests.sizes.size()) pieces().resize(requests.sizes.size());
  }
  ~Malloc() {
    while (taken_ != 0) free(pieces()[--taken_]);
  }
  void* take(size_t size) { return pieces()[taken_++] = malloc(size); }

 private:
  // The program's own memory of its pieces, which stays.
  static std::vector<void*>& pieces() {
    static std::vector<void*> all;
    return all;
  }
  size_t taken_ = 0;
};

// As containers reach it, through the interface of all resources.
class Monotonic {
 public:
  static constexpr char kName[] = "monotonic";
  explicit Monotonic(const Requests& requests) : resource_(requests.block), interface_(&resource_) {
    benchmark::DoNotOptimize(interface_);
  }
  void* take(size_t size) { return interface_->allocate(size); }

 private:
  std::pmr::monotonic_buffer_resource resource_;
  std::pmr::memory_resource* interface_;
};

// Where the compiler sees which resource it is, and puts its code in place of the call.
class Inlined {
 public:
  static constexpr char kName[] = "monotonic inlined";
  explicit Inlined(const Requests& requests) : resource_(requests.block) {}
  void* take(size_t size) { return resource_.allocate(size); }

 private:
  std::pmr::monotonic_buffer_resource resource_;
};

#ifdef WITH_APR
class Apr {
 public:
  static constexpr char kName[] = "APR";
  explicit Apr(const Requests&) { apr_pool_create(&pool_, nullptr); }
  ~Apr() { apr_pool_destroy(pool_); }
  void* take(size_t size) { return apr_palloc(pool_, size); }

 private:
  apr_pool_t* pool_ = nullptr;
};
#endif

template <class Allocator>
void make(Allocator& allocator, const Requests& requests) {
  for (const size_t size : requests.sizes) *static_cast<char*>(allocator.take(size)) = 1;
}

// What the C library has handed out, its own headers included, and what else is mapped (APR does not ask the C
// library).
size_t in_use() {
  char pages[32] = "";
  const int statm = open("/proc/self/statm", O_RDONLY | O_CLOEXEC);
  if (read(statm, pages, sizeof pages - 1) <= 0) std::exit(1);
  close(statm);
  const struct mallinfo2 info = mallinfo2();
  return std::strtoul(pages, nullptr, 10) * static_cast<size_t>(getpagesize()) - info.arena + info.uordblks;
}

// The memory held for the requests. In a process of its own, whose
// allocator keeps nothing yet that was freed.
template <class Allocator>
void print_memory(const char* name, const Requests& requests) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    const Allocator grows_what_stays(requests);
    const size_t before = in_use();
    Allocator allocator(requests);
    make(allocator, requests);
    std::printf("  %-18s %8zu\n", name, in_use() - before);
    std::fflush(stdout);
    _exit(0);
  }
  int status = 0;
  if (child < 0 || waitpid(child, &status, 0) != child || status != 0) std::exit(1);
}

template <class Allocator>
auto serve(const Requests& requests) {
  return [requests] {
    Allocator allocator(requests);
    make(allocator, requests);
  };
}

template <class... Peer>
void compare(const Requests& requests) {
  const size_t together = std::accumulate(requests.sizes.begin(), requests.sizes.end(), size_t{0});
  std::printf("bytes held for %s, %zu together:\n", requests.name.c_str(), together);
  print_memory<Ours>("ours", requests);
  (print_memory<Peer>(Peer::kName, requests), ...);
  (pairs::compare(requests.name + "; " + Peer::kName, serve<Ours>(requests), serve<Peer>(requests)), ...);
}

Requests small(size_t block, size_t count) {
  std::minstd_rand random(1);
  Requests requests{std::to_string(count) + " of 16-64 bytes", block, std::vector<size_t>(count)};
  for (size_t& size : requests.sizes) size = 16 + (random() >> 8) % 49;
  return requests;
}

// Every 25th request is of 4 to 20 KB.
Requests mixed(size_t block, size_t count) {
  std::minstd_rand random(2);
  Requests requests = small(block, count);
  requests.name = std::to_string(count) + " with large ones";
  for (size_t at = 12; at < count; at += 25) requests.sizes[at] = 4096 + (random() >> 8) % 16384;
  return requests;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef WITH_APR
  apr_initialize();
#else
  std::puts("(APR is not installed and left out)");
#endif
  for (const Requests& requests :
       {small(4096, 50), mixed(4096, 50), small(16384, 500), mixed(16384, 500), small(16384, 5000)}) {
#ifdef WITH_APR
    compare<Malloc, Monotonic, Inlined, Apr>(requests);
#else
    compare<Malloc, Monotonic, Inlined>(requests);
#endif
  }
  return pairs::run(argc, argv);
}
