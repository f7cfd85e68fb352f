// Many plug-ins at once for a long time: each sends messages to others, sends and hears events, and asks the router.
// Everything sent is accounted for at the end, the memory of all processes is compared with what it was after the
// first tenth ("at first"), and the times are given as percentiles.
//   soak PLUGINS SECONDS [BROKER]     in a router box, as its root; plug-in I has appid 4000 + I and uid 20000 + I
// With BROKER, the program, the bus is this program's to start: for the first three quarters of the time it kills the
// broker again and again. What was on its way then may be lost, but nothing may be wrong, and in the last quarter
// everything must arrive as ever; "at first" is after a third of the kills.
#include <sys/mman.h>
#include <unistd.h>
#include <zel/zel.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <thread>

#include "children.h"
#include "process_memory.h"

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int kMostPlugins = 100;  // more do not fit into the permission table
constexpr int kFirstAppid = 4000;
constexpr uid_t kFirstUid = 20000;

// A turn of a plug-in is a message; every so many turns also another thing.
constexpr int kTurnsPerQuery = 10;
constexpr int kTurnsPerEvent = 20;
constexpr int kMeanPauseMs = 100;
constexpr auto kQuiet = std::chrono::seconds(5);  // until what is on its way at the end has arrived
constexpr int kSecondsPerBroker = 5;

int64_t now_us() {
  return std::chrono::duration_cast<std::chrono::microseconds>(Clock::now().time_since_epoch()).count();
}

// Times in classes of an eighth of a power of two, so about nine percent wide.
class Histogram {
 public:
  void add(int64_t us) {
    const auto value = static_cast<uint64_t>(us < 1 ? 1 : us);
    const int power = 63 - __builtin_clzll(value);
    const uint64_t eighth = power < 3 ? 0 : (value >> (power - 3)) & 7;
    ++counts_[static_cast<size_t>(power) * 8 + eighth];
  }
  void add_to(std::map<int64_t, uint64_t>* all) const {
    for (size_t i = 0; i < kClasses; ++i) {
      const uint64_t base = uint64_t{1} << (i / 8);
      if (counts_[i] != 0) (*all)[static_cast<int64_t>(base + base * (i % 8) / 8)] += counts_[i];
    }
  }

 private:
  static constexpr size_t kClasses = 40 * 8;
  std::atomic<uint32_t> counts_[kClasses] = {};
};

struct Kind {
  std::atomic<uint32_t> sent, failed, arrived, wrong;
  Histogram times;
};

struct Account {
  Kind messages, events, queries;
  std::atomic<uint32_t> heard[kMostPlugins];  // the last number of each sender's events
};

enum Part { kBrokerEnds, kBrokerStays, kParts };

// Shared by all processes. A part has an account of its own, and begins and ends with nothing on its way.
struct Ledger {
  std::atomic<bool> over, paused;
  std::atomic<int> part;
  Account accounts[kParts][kMostPlugins];
};

Ledger* ledger;
int own_number;
int plugin_count;

Account* own() {
  return &ledger->accounts[ledger->part][own_number];
}

int answer(const char* message, uint32_t length, char* reply, uint32_t size) {
  std::memcpy(reply, message, std::min(length, size - 1));
  ++own()->messages.arrived;
  return 0;
}

// Every receiver gets each sender's events in order, and one by one unless the broker ends.
void hear(int32_t, const char* text) {
  int sender = 0;
  unsigned number = 0;
  long long sent_us = 0;
  Account* const account = own();
  if (text == nullptr || std::sscanf(text, "%d %u %lld", &sender, &number, &sent_us) != 3 ||
      sender >= plugin_count) {
    ++account->events.wrong;
    return;
  }
  const uint32_t last = account->heard[sender].exchange(number);
  if (number != last + 1 && (number <= last || ledger->part == kBrokerStays)) {
    ++account->events.wrong;
    return;
  }
  ++account->events.arrived;
  account->events.times.add(now_us() - sent_us);
}

// Only upwards: two plug-ins that send to each other at once would wait for each other.
void send_message(std::minstd_rand& random) {
  if (own_number + 1 == plugin_count) return;
  const int target =
      own_number + 1 + static_cast<int>(random() % static_cast<unsigned>(plugin_count - own_number - 1));
  const uint32_t number = ++own()->messages.sent;
  const std::string text =
      std::to_string(own_number) + " to " + std::to_string(target) + ": " + std::to_string(number);
  const int64_t start = now_us();
  char* const reply = zel_cloud_msg_send(std::to_string(kFirstAppid + target).c_str(), text.c_str());
  own()->messages.times.add(now_us() - start);
  if (reply == nullptr) {
    ++own()->messages.failed;
  } else if (reply != text) {
    ++own()->messages.wrong;
  }
  std::free(reply);
}

void send_event() {
  const uint32_t number = ++own()->events.sent;
  const std::string text =
      std::to_string(own_number) + " " + std::to_string(number) + " " + std::to_string(now_us());
  if (zel_event_send(ZEL_EVENT_HOME, 512, text.c_str()) != 0) ++own()->events.failed;
}

void ask_router() {
  zel_wan_status status{};
  ++own()->queries.sent;
  const int64_t start = now_us();
  if (zel_get_wan_status(&status) != 0) {
    ++own()->queries.failed;
  } else if (std::strcmp(status.WAN_IP, "203.0.113.24") != 0) {
    ++own()->queries.wrong;
  } else {
    ++own()->queries.arrived;
  }
  own()->queries.times.add(now_us() - start);
}

// Returns early when something cannot be had, which the line tells.
void live(const children::Line& line, int number) {
  zel_debug = 0;
  if (std::freopen("/dev/null", "w", stdout) == nullptr) return;  // the library prints queries as they go
  own_number = number;
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0 ||
      zel_event_subscribe(ZEL_EVENT_HOME, hear) != 0) {
    return;
  }
  line.tell();
  line.wait();
  std::minstd_rand random(static_cast<unsigned>(number + 1));
  for (int turn = 1; !ledger->over; ++turn) {
    send_message(random);
    if (turn % kTurnsPerQuery == 0) ask_router();
    if (turn % kTurnsPerEvent == 0) send_event();
    do {
      std::this_thread::sleep_for(milliseconds(random() % (2 * kMeanPauseMs)));
    } while (ledger->paused && !ledger->over);
  }
  line.tell();
  line.wait();
}

struct Sum {
  uint64_t sent = 0, failed = 0, arrived = 0, wrong = 0;
  std::map<int64_t, uint64_t> times;
};

Sum sum_of(Kind Account::*kind) {
  Sum sum;
  for (int i = 0; i < plugin_count; ++i) {
    const Kind& one = ledger->accounts[ledger->part][i].*kind;
    sum.sent += one.sent;
    sum.failed += one.failed;
    sum.arrived += one.arrived;
    sum.wrong += one.wrong;
    one.times.add_to(&sum.times);
  }
  return sum;
}

// Milliseconds that at most this part took longer than.
double percentile(const std::map<int64_t, uint64_t>& times, double part) {
  uint64_t all = 0;
  for (const auto& [us, count] : times) all += count;
  uint64_t seen = 0;
  for (const auto& [us, count] : times) {
    seen += count;
    if (static_cast<double>(seen) >= part * static_cast<double>(all)) return static_cast<double>(us) / 1000;
  }
  return 0;
}

// Whether nothing is wrong or, with the broker there, missing. `each`: how often each must arrive.
bool print_kind(const char* name, const Sum& sum, uint64_t each) {
  const auto missing = static_cast<int64_t>(sum.sent * each - sum.arrived);
  std::printf("%-9s| %9llu | %9llu | %7lld | %6llu | %5llu | %8.2f | %8.2f | %8.2f | %8.2f\n", name,
              static_cast<unsigned long long>(sum.sent), static_cast<unsigned long long>(sum.arrived),
              static_cast<long long>(missing), static_cast<unsigned long long>(sum.failed),
              static_cast<unsigned long long>(sum.wrong), percentile(sum.times, 0.5),
              percentile(sum.times, 0.99), percentile(sum.times, 0.999), percentile(sum.times, 1));
  const bool whole = missing == 0 && sum.failed == 0;
  return sum.arrived > 0 && sum.wrong == 0 && (whole || ledger->part == kBrokerEnds);
}

bool print_account() {
  std::printf("%-9s| %9s | %9s | %7s | %6s | %5s | %8s | %8s | %8s | %8s\n", "", "sent", "arrived", "missing",
              "failed", "wrong", "median", "99 %", "99.9 %", "most, ms");
  const bool messages = print_kind("messages", sum_of(&Account::messages), 1);
  const bool events = print_kind("events", sum_of(&Account::events), static_cast<uint64_t>(plugin_count));
  const bool queries = print_kind("queries", sum_of(&Account::queries), 1);
  return messages && events && queries;
}

// What a process may have grown by after the first tenth. A plug-in makes 5,400 turns in the nine minutes that follow:
// a leak of 13 bytes for each would be more.
// The thread sanitizer keeps memory of its own for what each thread has done.
#ifdef __SANITIZE_THREAD__
constexpr long kMostGrowthKib = 1024;
#else
constexpr long kMostGrowthKib = 64;
#endif

bool print_memory(const process_memory::Usage& early, const process_memory::Usage& late) {
  bool flat = true;
  std::printf("%-16s | %9s | %18s | %12s\n", "program", "processes", "KiB at first", "at the end");
  for (const auto& [name, then] : early) {
    const auto now = late.find(name);
    if (now == late.end()) continue;
    std::printf("%-16s | %9d | %18ld | %12ld\n", name.c_str(), then.processes, then.kib, now->second.kib);
    flat = flat && now->second.kib - then.kib <= kMostGrowthKib * then.processes;
  }
  return flat;
}

class Broker {
 public:
  explicit Broker(const char* program) : program_(program) { start(); }
  void restart() {
    process_.reset();
    start();
    ++restarts_;
  }
  int restarts() const { return restarts_; }

 private:
  void start() {
    process_.emplace(0, [this](const children::Line&) { execl(program_, program_, nullptr); });
  }

  const char* program_;
  std::optional<children::Child> process_;
  int restarts_ = 0;
};

// `early` is what processes hold after so much of the time, unless it is known.
void run_for(std::chrono::seconds seconds, std::chrono::seconds settled, process_memory::Usage* early,
             const std::function<void(int64_t second)>& each_second) {
  const auto start = Clock::now();
  for (auto now = start; now < start + seconds; now = Clock::now()) {
    const auto passed = std::chrono::duration_cast<std::chrono::seconds>(now - start);
    if (early->empty() && passed >= settled) *early = process_memory::usage();
    if (isatty(STDOUT_FILENO)) {
      std::printf("\r%lld of %lld s", static_cast<long long>(passed.count()),
                  static_cast<long long>(seconds.count()));
      std::fflush(stdout);
    }
    each_second(passed.count());
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  if (isatty(STDOUT_FILENO)) std::puts("");
}

// Whether nothing wrong has come while the broker was killed. Plug-ins pause after it.
bool run_with_restarts(Broker* broker, std::chrono::seconds seconds, process_memory::Usage* early) {
  run_for(seconds, seconds / 3, early, [&](int64_t second) {
    if (second % kSecondsPerBroker == kSecondsPerBroker - 1) broker->restart();
  });
  ledger->paused = true;
  std::this_thread::sleep_for(kQuiet);
  std::printf("while the broker was killed %d times in %lld seconds\n", broker->restarts(),
              static_cast<long long>(seconds.count()));
  const bool right = print_account();
  ledger->part = kBrokerStays;
  ledger->paused = false;
  return right;
}

bool start_plugins(std::deque<children::Child>* plugins) {
  for (int i = 0; i < plugin_count; ++i) {
    plugins->emplace_back(kFirstUid + static_cast<uid_t>(i),
                          [i](const children::Line& line) { live(line, i); });
    if (!plugins->back().line().wait()) {
      std::fprintf(stderr, "plug-in %d did not come up\n", i);
      return false;
    }
  }
  for (const children::Child& plugin : *plugins) plugin.line().tell();
  return true;
}

void end_plugins(const std::deque<children::Child>& plugins) {
  ledger->over = true;
  for (const children::Child& plugin : plugins) {
    if (!plugin.line().wait()) std::fputs("a plug-in has ended\n", stderr);
  }
  std::this_thread::sleep_for(kQuiet);
}

int soak(std::chrono::seconds seconds, const char* broker_program) {
  std::optional<Broker> broker;
  if (broker_program != nullptr) broker.emplace(broker_program);
  std::this_thread::sleep_for(std::chrono::seconds(broker ? 1 : 0));  // until it listens
  ledger->part = broker ? kBrokerEnds : kBrokerStays;
  std::deque<children::Child> plugins;
  if (!start_plugins(&plugins)) return 1;
  std::printf("%d plug-ins for %lld seconds\n", plugin_count, static_cast<long long>(seconds.count()));
  process_memory::Usage early;
  bool right = true;
  const auto with_restarts = broker ? seconds * 3 / 4 : std::chrono::seconds(0);
  if (broker) right = run_with_restarts(&*broker, with_restarts, &early);
  if (broker) std::puts("in the time that followed");
  run_for(seconds - with_restarts, seconds / 10, &early, [](int64_t) {});
  const process_memory::Usage late = process_memory::usage();
  end_plugins(plugins);
  const bool complete = print_account();
  const bool flat = print_memory(early, late);
  std::printf("%s, memory %s\n", complete && right ? "nothing is missing" : "NOT everything arrived as sent",
              flat ? "flat" : "GREW");
  return complete && right && flat ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  plugin_count = argc >= 3 ? std::atoi(argv[1]) : 0;
  const int seconds = argc >= 3 ? std::atoi(argv[2]) : 0;
  if (plugin_count < 2 || plugin_count > kMostPlugins || seconds < 10) {
    std::fprintf(stderr,
                 "usage: soak PLUGINS SECONDS [BROKER], 2 to %d of the former, 10 or more of the latter\n",
                 kMostPlugins);
    return 2;
  }
  void* const shared =
      mmap(nullptr, sizeof(Ledger), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) return 1;
  ledger = new (shared) Ledger{};
  return soak(std::chrono::seconds(seconds), argc > 3 ? argv[3] : nullptr);
}
