// main.cpp: boxstub, a plug-in that plays another one, from a file (project/stub_file.h).
#include <signal.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <exception>
#include <memory>
#include <thread>

#include "../project/stub_file.h"
#include "../support/events.h"
#include "../support/failure.h"

namespace routerbox::stub {
namespace {

using Clock = std::chrono::steady_clock;

// ---- Answers ----------------------------------------------------------------------------------------------

std::vector<StubAnswer>* answers = nullptr;  // the library's handler takes nothing along

StubAnswer* answer_to(const std::string& message) {
  for (StubAnswer& answer : *answers) {
    if (answer.count == 0 || (answer.fits && !answer.fits(message))) continue;
    if (answer.count) --*answer.count;
    return &answer;
  }
  return nullptr;
}

int give(const StubAnswer& answer, char* reply, uint32_t size) {
  std::this_thread::sleep_for(answer.delay);
  switch (answer.act) {
    case StubAnswer::Act::kEnd:
      std::printf("ends, as %s says\n", answer.place.c_str());
      _exit(0);  // as planned: no death that anybody need look into
    case StubAnswer::Act::kHang:
      std::printf("hangs, as %s says\n", answer.place.c_str());
      while (true) pause();
    case StubAnswer::Act::kAnswer:
      break;
  }
  qo_strncpy(reply, answer.text.c_str(), size);
  std::printf("answered: %s\n", answer.text.c_str());
  return answer.status;
}

// Runs in the service thread.
int take_message(const char* message, uint32_t, char* reply, uint32_t size) noexcept {
  std::printf("asked: %s\n", message);
  if (const StubAnswer* const answer = answer_to(message)) return give(*answer, reply, size);
  std::printf("no answer fits; one without is, like and match would take every message\n");
  return kUnforeseen;
}

void serve() {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(take_message) != 0)
    throw Failure("it can receive no messages; does the bus run?");
}

// ---- What is sent at times --------------------------------------------------------------------------------

// In a process of its own: the library sends and receives in turn, so a receiver that is slow, or that asks this
// stub before it answers, would hold up the stub's own answers. It ends with the stub.
template <class Row>
void start(const Row& row, void (*send)(const Row& row)) {
  const pid_t stub = getpid();
  const pid_t child = fork();
  if (child < 0) fail_errno("cannot start a process that sends");
  if (child != 0) return;
  if (prctl(PR_SET_PDEATHSIG, SIGKILL) != 0 || getppid() != stub) _exit(1);
  const Times& times = row.times;
  Clock::time_point next = Clock::now() + *times.after;
  for (int64_t sent = 0; !times.count || sent < *times.count; ++sent) {
    std::this_thread::sleep_until(next);
    send(row);
    if (!times.every) break;
    // What a slow receiver has made late is not caught up with.
    while (next < Clock::now()) next += *times.every;
  }
  _exit(0);
}

void send_message(const StubSend& send) {
  const std::unique_ptr<char, void (*)(void*)> answer(
      zel_cloud_msg_send(send.appid.c_str(), send.text.c_str()), zel_free);
  std::printf("to %s: %s; answer: %s\n", send.to.c_str(), send.text.c_str(), answer ? answer.get() : "none");
}

void send_event(const StubEvent& event) {
  const int result =
      zel_event_send(static_cast<uint32_t>(find_event(event.event)->number), static_cast<uint32_t>(event.sub),
                     event.text ? event.text->c_str() : nullptr);
  std::printf("event %s %d: %s\n", event.event.c_str(), event.sub, result == 0 ? "sent" : "not sent");
}

// From "NAME=APPID".
std::vector<StubPeer> peers_from(char** begin, char** end) {
  std::vector<StubPeer> peers;
  for (char** word = begin; word < end; ++word) {
    const std::string text = *word;
    const size_t cut = text.find('=');
    if (cut == std::string::npos) throw Failure("'" + text + "' must be NAME=APPID");
    peers.push_back({text.substr(0, cut), text.substr(cut + 1)});
  }
  return peers;
}

int run(int argc, char** argv) {
  if (argc < 2) throw Failure("usage: boxstub FILE NAME=APPID...");
  Stub stub = read_stub(argv[1], peers_from(argv + 2, argv + argc));
  signal(SIGCHLD, SIG_IGN);  // nobody waits for those that have sent all
  for (const StubSend& send : stub.sends) start(send, send_message);
  for (const StubEvent& event : stub.events) start(event, send_event);
  answers = &stub.answers;
  if (!stub.answers.empty()) serve();
  while (true) pause();
}

}  // namespace
}  // namespace routerbox::stub

int main(int argc, char** argv) {
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  zel_debug = 0;  // the library's messages without function names and lines
  try {
    return routerbox::stub::run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
