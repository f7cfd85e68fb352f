// How the time of a cloud message grows with the number of processes that send to one plug-in at once: the
// time for all messages of all senders, divided by their number. One sender's own message takes as many times
// longer as there are senders.
#include <zel/zel.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <deque>

#include "bare_exchange.h"
#include "children.h"
#include "growth.h"

namespace {

using Send = char* (*)(const char* target, const char* message);

constexpr int kMessages = 8;  // of each sender; few, so that other work interrupts not every repetition
constexpr char kText[] = "a message of thirty-two letters.";

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

// From the word to start until the last sender has its last answer.
double time_senders(Send send, int count) {
  std::deque<children::Child> senders;
  for (int i = 0; i < count; ++i)
    senders.emplace_back(children::kSenderUid, [send](const children::Line& line) { send_all(line, send); });
  bool well = true;
  for (const children::Child& sender : senders) well = sender.line().wait() && well;
  const auto start = std::chrono::steady_clock::now();
  for (const children::Child& sender : senders) well = sender.line().tell() && well;
  for (const children::Child& sender : senders) well = sender.line().wait() && well;
  const std::chrono::duration<double> elapsed = std::chrono::steady_clock::now() - start;
  return well ? elapsed.count() / (count * kMessages) : -1;
}

}  // namespace

int main(int argc, char** argv) {
  const std::unique_ptr<children::Child> server = children::start_server();
  if (!server) {
    std::fputs("the serving plug-in did not come up\n", stderr);
    return 1;
  }
  const auto ours = [](int senders) { return time_senders(zel_cloud_msg_send, senders); };
  const auto bare = [](int senders) { return time_senders(bare_exchange, senders); };
  return growth::run({"senders", "cloud message", {1, 2, 4, 8, 16, 32, 64}, {{"ours", ours}, {"bare", bare}}},
                     argc, argv);
}
