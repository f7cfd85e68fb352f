// zelctl cloud: cloud messages.
#include <zel/cloud.h>
#include <zel/service.h>
#include <zel/util.h>

#include <cstring>

#include "bus.h"
#include "caller.h"
#include "clock.h"
#include "ending.h"
#include "families.h"
#include "filter.h"
#include "handles.h"
#include "output.h"
#include "stream.h"
#include "text.h"

namespace zelctl {
namespace {

constexpr unsigned kLibraryWaits = 8;    // seconds for an answer
constexpr unsigned kCommandSeconds = 7;  // so that the sender still gets its status
constexpr size_t kTargetMax = 59;        // bytes of a target that the library looks for
constexpr size_t kAnswerSize = 4096;

using Answer = std::unique_ptr<char, GivenBackBy<zel_free>>;

int send(const Call& call) {
  const char* const target = call.argument(0);
  if (std::strlen(target) > kTargetMax)
    fail(kUsage, "Give it as the bus has it.", "APPID is at most %zu bytes", kTargetMax);
  const char* const given = call.option("timeout");
  const auto seconds = given != nullptr
                           ? static_cast<unsigned>(number_value("--timeout", given, 1, kLibraryWaits))
                           : kLibraryWaits;
  const std::string object = format("zel_%s", target);
  const int found = look_up(object.c_str());
  if (found == UBUS_STATUS_NOT_FOUND)
    fail(kNo, "Does it run, and hold ability 2? What this user can see: zelctl bus list",
         "there is no plug-in %s on the bus", target);
  require_success(found, object.c_str());
  const char* const advice = "It hangs, or is busy. What it does: zelctl bus monitor";
  const int64_t begin = now_ms();
  Answer answer;
  {
    // The library's own limit is to be in front.
    const Limit limit(seconds + seconds / kLibraryWaits, advice, "plug-in %s gave no answer within %u s",
                      target, seconds);
    answer.reset(zel_cloud_msg_send(target, call.argument(1)));
  }
  if (!answer && now_ms() - begin >= kLibraryWaits * 1000)
    fail(kTimedOut, advice, "plug-in %s gave no answer within %u s", target, kLibraryWaits);
  if (!answer)
    fail(kFailed, "May this user call it? The library's reason: -v", "plug-in %s gave no answer", target);
  Result result;
  add_text(result.json(), "target", target);
  add_text(result.json(), "answer", answer.get());
  result.line("%s", answer.get());
  result.show();
  return kDone;
}

// What the handler, which has no argument of its own for it, answers with.
struct {
  const char* text;
  const char* command;
  Stream* stream;
} server;

int answer_message(const char* message, uint32_t length, char* reply, uint32_t size) {
  Filtered made{server.text, 0};
  if (server.command != nullptr) made = filter(server.command, {message, length}, kCommandSeconds);
  const bool cut = qo_strncpy(reply, made.text.c_str(), size) >= size;
  Result one;
  add_text(one.json(), "message", message);
  add_text(one.json(), "answer", reply);
  add_number(one.json(), "status", made.status);
  add_bool(one.json(), "cut", cut);
  one.line("> %s\n< %s", message, reply);
  if (made.status != 0) one.line("  status %d", made.status);
  if (cut) one.line("  cut to %u bytes", size - 1);
  if (server.stream->show(&one)) Service::end();
  return made.status;
}

void start_object(const std::string& appid) {
  const std::string object = format("zel_%s", appid.c_str());
  if (look_up(object.c_str()) == 0)
    fail(kFailed, "End that process first: it is the plug-in itself, or another zelctl.",
         "another process serves %s already", object.c_str());
  // The object alone, as plug-ins without events have it.
  const bool served =
      start_service(appid.c_str()) == 0 && zel_cloud_msg_handler_register(answer_message) == 0;
  if (!served)
    fail(kFailed,
         "The broker may not let this user make objects: see /usr/share/acl.d. The library's words: -v",
         "%s cannot be made on the bus", object.c_str());
}

int serve(const Call& call) {
  Stream wanted(call, "message");
  const char* const text = call.option("answer");
  server = {text != nullptr ? text : "", call.option("exec"), &wanted};
  if (text != nullptr && server.command != nullptr)
    fail_usage("cloud serve", "--answer and --exec exclude each other");
  if (std::strlen(server.text) >= kAnswerSize)
    fail(kUsage, "Shorten it.", "--answer: an answer is at most %zu bytes", kAnswerSize - 1);
  require_ability(ability_cloud_communication);
  Service service;
  start_object(caller_appid());
  note("serving as zel_%s until interrupted", caller_appid().c_str());
  service.wait(wanted.seconds());
  zel_cloud_msg_release();  // With it the last answer gets out.
  return wanted.end();
}

constexpr Option kTimeout[] = {
    {"timeout", "S", "Seconds to wait for the answer, 1 to 8; the library waits 8"}};
constexpr Option kServe[] = {
    {"answer", "TEXT", "What each message is answered with; an empty text unless given"},
    {"exec", "COMMAND",
     "A shell's command that reads the message and prints the answer; its status is the answer's"},
    kCountOption,
    kForOption,
};

constexpr Command kCommands[] = {
    {"cloud send", "APPID TEXT", "Send a plug-in a message, as the cloud does, and print its answer",
     "zelctl --as 2001 cloud serve --answer hello --count 1 & sleep 2; zelctl cloud send 2001 'Are you "
     "there?'",
     send, kTimeout},
    {"cloud serve", "",
     "Be the plug-in whose user runs this: print messages as they come, and answer them, until interrupted",
     "zelctl --as 2001 cloud serve --exec 'tr a-z A-Z' --for 1", serve, kServe},
};

}  // namespace

constinit const Family kCloudFamily = {"cloud", "Cloud messages: send one, or answer them", kCommands};

}  // namespace zelctl
