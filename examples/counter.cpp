// counter: a plug-in in C++, whose handlers hold state. Needs abilities 2 (cloud communication), 5 (receiving events)
// and 7 (WAN).
//
// It counts messages and outages of the WAN link, and answers "report" with what it knows. Both handlers run on the
// library's service thread, one at a time, so what they share needs no lock.
#include <unistd.h>
#include <zel/zel.hpp>

#include <cstdio>
#include <map>

namespace {

struct Tally {
  std::map<std::string, int, std::less<>> messages;
  int outages = 0;
};

zel::cloud::answer report(const Tally& tally) {
  const auto link = zel::router::wan_status();
  if (!link) return {link.error().text(), 1};
  return std::to_string(tally.messages.size()) + " different messages, " + std::to_string(tally.outages) +
         " outages, the internet is " + (link->WAN_NET != 0 ? "there" : "away");
}

zel::cloud::answer count(Tally& tally, std::string_view message) {
  if (message == "report") return report(tally);
  const int times = ++tally.messages[std::string(message)];
  return std::string(message) + ", number " + std::to_string(times);
}

zel::result<void> serve(Tally& tally) {
  return zel::service::start()
      .and_then([&] {
        return zel::cloud::serve([&tally](std::string_view message) { return count(tally, message); });
      })
      .and_then([&] {
        return zel::event::subscribe(ZEL_EVENT_WAN, [&tally](int32_t subevent, std::string_view) {
          if (subevent != 257) return;
          ++tally.outages;
          std::puts("an outage");
        });
      });
}

}  // namespace

int main() {
  zel_debug = 0;
  Tally tally;
  if (const auto served = serve(tally); !served) {
    std::fprintf(stderr, "counter: %s\n", served.error().text().c_str());
    return 1;
  }
  std::puts("I count");
  for (;;) pause();
}
