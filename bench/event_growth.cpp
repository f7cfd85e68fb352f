// How the time of an event grows with the number of processes that hear it: from the word to send until the last of
// them has it, divided by their number. The peer is a sender and receivers of libubus alone.
#include <unistd.h>
#include <zel/zel.h>

#include <chrono>
#include <cstdlib>
#include <deque>

#include "bare_event.h"
#include "children.h"
#include "growth.h"

namespace {

constexpr uid_t kHeraldUid = 10004;  // See packages.json.
constexpr uid_t kHearerUid = 10005;
constexpr int kEvents = 8;
constexpr char kText[] = "sda1";

using Body = void (*)(const children::Line& line);

struct Kind {
  Body hear;
  Body send;
};

const children::Line* line_to_measure;  // by the callback, in a receiver's process

void tell(int32_t, const char*) {
  line_to_measure->tell();
}

void hear_ours(const children::Line& line) {
  zel_debug = 0;
  line_to_measure = &line;
  if (zel_event_subscribe(ZEL_EVENT_DISK, tell) != 0 || zel_service_init() != 0) return;
  line.tell();
  for (;;) pause();  // Not for a word: the kernel would wake this thread at each that the other one tells.
}

void hear_bare(const children::Line& line) {
  line_to_measure = &line;
  bare_hear([] { line_to_measure->tell(); });
}

// An event for every word.
template <int (*send)()>
void send_on_word(const children::Line& line) {
  zel_debug = 0;
  while (line.wait() && send() == 0) continue;
}

int send_ours() {
  return zel_event_send_disk(0, kText);
}

int send_bare() {
  return bare_send(kText);
}

double time_event(const Kind& kind, int count) {
  const children::Child herald(kHeraldUid, kind.send);
  std::deque<children::Child> hearers;
  for (int i = 0; i < count; ++i) hearers.emplace_back(kHearerUid, kind.hear);
  bool well = true;
  const auto wait_for_all = [&] {
    for (const children::Child& hearer : hearers) well = well && hearer.line().wait();
  };
  wait_for_all();                       // until each has its receiver
  well = well && herald.line().tell();  // The first touches what the processes share with this one.
  wait_for_all();
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < kEvents && well; ++i) {
    well = herald.line().tell();
    wait_for_all();
  }
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  return well ? elapsed.count() / (count * kEvents) : -1;
}

}  // namespace

int main(int argc, char** argv) {
  static constexpr Kind kOurs = {hear_ours, send_on_word<send_ours>};
  static constexpr Kind kBare = {hear_bare, send_on_word<send_bare>};
  const auto ours = [](int receivers) { return time_event(kOurs, receivers); };
  const auto bare = [](int receivers) { return time_event(kBare, receivers); };
  return growth::run({"receivers", "delivery", {1, 10, 100}, {{"ours", ours}, {"bare", bare}}}, argc, argv);
}
