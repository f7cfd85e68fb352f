// How the time of a cloud message grows with the number of processes that send to one plug-in at once: the
// time for all messages of all senders, divided by their number. One sender's own message takes as many times
// longer as there are senders.
#include <zel/zel.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <string>

#include "bare_exchange.h"
#include "children.h"
#include "runner.h"

namespace {

using Send = char* (*)(const char* target, const char* message);

constexpr int kSenders[] = {1, 2, 4, 8, 16, 32, 64};
constexpr int kMessages = 8;  // of each sender; few, so that other work interrupts not every repetition
constexpr int kRepetitions = 41;
constexpr char kText[] = "a message of thirty-two letters.";

struct Way {
  const char* name;
  Send send;
};
constexpr Way kWays[] = {{"ours", zel_cloud_msg_send}, {"bare", bare_exchange}};

std::string name_of(const Way& way, int senders) {
  return "growth " + std::string(way.name) + " " + std::to_string(senders);
}

bool exchange(Send send) {
  char* const answer = send(children::kServerAppid, kText);
  std::free(answer);
  return answer != nullptr;
}

// Ends early without an answer; the line tells.
void send_all(const children::Line& line, Send send) {
  zel_debug = 0;
  if (!exchange(send)) return;  // The first touches what the process shares with its parent.
  line.tell();
  line.wait();
  for (int i = 0; i < kMessages; ++i) {
    if (!exchange(send)) return;
  }
  line.tell();
}

// Seconds per message, from the word to start until the last sender has its last answer; negative if one got
// none.
double time_senders(Send send, int count) {
  std::deque<children::Child> senders;
  for (int i = 0; i < count; ++i)
    senders.emplace_back(children::kSenderUid, [send](const children::Line& line) { send_all(line, send); });
  bool well = true;
  for (const children::Child& sender : senders) well = sender.line().wait() && well;
  const auto start = std::chrono::steady_clock::now();
  for (const children::Child& sender : senders) well = sender.line().tell() && well;
  for (const children::Child& sender : senders) well = sender.line().wait() && well;
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  return well ? taken.count() / (count * kMessages) : -1;
}

void add(const Way& way, int senders) {
  const auto measure = [&way, senders](benchmark::State& state) {
    for (auto _ : state) {  // one iteration
      const double seconds = time_senders(way.send, senders);
      if (seconds < 0) state.SkipWithError("a message was not answered");
      state.SetIterationTime(seconds);
    }
  };
  benchmark::RegisterBenchmark(name_of(way, senders).c_str(), measure)
      ->UseManualTime()
      ->Iterations(1)
      ->Repetitions(kRepetitions);
}

void print_cell(const runner::Results& results, const Way& way, int senders) {
  const auto found = results.find(name_of(way, senders));
  const auto one = results.find(name_of(way, kSenders[0]));
  if (found == results.end()) {
    std::printf(" | %14s | %11s", "-", "-");
    return;
  }
  std::printf(" | %8.1f +%3.0f%% | ", found->second.low() / 1000, found->second.spread_percent());
  if (one != results.end()) {
    std::printf("%11.2f", found->second.low() / one->second.low());
  } else {
    std::printf("%11s", "-");
  }
}

void print_table(const runner::Results& results) {
  std::printf("%7s | %14s | %11s | %14s | %11s\n", "senders", "ours us/msg", "times one's", "bare us/msg",
              "times one's");
  for (const int senders : kSenders) {
    std::printf("%7d", senders);
    for (const Way& way : kWays) print_cell(results, way, senders);
    std::puts("");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::unique_ptr<children::Child> server = children::start_server();
  if (!server) {
    std::fputs("the serving plug-in did not come up\n", stderr);
    return 1;
  }
  for (const Way& way : kWays) {
    for (const int senders : kSenders) add(way, senders);
  }
  const std::optional<runner::Results> results = runner::run(argc, argv);
  if (!results) return 1;
  if (!results->empty()) print_table(*results);
  return 0;
}
