#include "stub_file.h"

#include <fnmatch.h>

#include "../support/events.h"
#include "../support/failure.h"
#include "../support/pattern.h"
#include "value.h"

namespace routerbox {
namespace {

using std::chrono::milliseconds;
using Fits = std::function<bool(const std::string&)>;

constexpr size_t kLongestAnswer = 4095;  // what a plug-in's handler has room for
constexpr int64_t kHighestStatus = 255;
constexpr int64_t kMostTimes = 1'000'000'000;
constexpr milliseconds kShortestEvery(10);

milliseconds time_in(const Value& value) {
  return std::chrono::duration_cast<milliseconds>(std::chrono::duration<double>(value.seconds()));
}

int64_t count_in(const Value& value) {
  if (value.is_text() && value.text() == "once") return 1;
  if (!value.is_number()) value.refuse("must be \"once\" or a number of times");
  return value.number(1, kMostTimes);
}

// ---- Answers ----------------------------------------------------------------------------------------------

Fits is_text(const Value& value) {
  return [text = value.text()](const std::string& message) { return message == text; };
}

Fits is_like(const Value& value) {
  return [pattern = value.text()](const std::string& message) {
    return fnmatch(pattern.c_str(), message.c_str(), 0) == 0;
  };
}

Fits matches(const Value& value) {
  const Pattern pattern(value.text());
  if (!pattern.fault().empty()) value.refuse("is no POSIX extended regular expression: " + pattern.fault());
  return [pattern](const std::string& message) { return pattern.fits(message); };
}

template <Fits (*Read)(const Value&)>
void read_pattern(const Value& value, StubAnswer* answer) {
  if (answer->fits) value.refuse("is a second pattern; an answer has one of is, like and match");
  answer->fits = Read(value);
}

void read_answer_text(const Value& value, StubAnswer* answer) {
  answer->text = value.text();
  if (answer->text.size() > kLongestAnswer)
    value.refuse("has " + std::to_string(answer->text.size()) + " bytes, and an answer at most " +
                 std::to_string(kLongestAnswer));
}

void read_fail(const Value& value, StubAnswer* answer) {
  const std::string word = value.text();
  if (word != "hang" && word != "end")
    value.refuse("is no way to fail" + advice_for(word, {"hang", "end"}) +
                 "; text = \"\" is an empty answer, and delay makes it late");
  answer->act = word == "hang" ? StubAnswer::Act::kHang : StubAnswer::Act::kEnd;
}

const std::vector<Key<StubAnswer>> kAnswerKeys = {
    {"is", read_pattern<is_text>},
    {"like", read_pattern<is_like>},
    {"match", read_pattern<matches>},
    {"text", read_answer_text},
    {"status",
     [](const Value& value, StubAnswer* answer) {
       answer->status = static_cast<int>(value.number(0, kHighestStatus));
     }},
    {"delay", [](const Value& value, StubAnswer* answer) { answer->delay = time_in(value); }},
    {"count", [](const Value& value, StubAnswer* answer) { answer->count = count_in(value); }},
    {"fail", read_fail},
};

bool takes_all(const StubAnswer& answer) {
  return !answer.fits && !answer.count;
}

StubAnswer answer_from(const Value& value, const std::vector<StubAnswer>& earlier) {
  StubAnswer answer;
  answer.place = value.place();
  read_keys(value, kAnswerKeys, &answer);
  const bool says = value.has("text") || value.has("status");
  if (!says && answer.act == StubAnswer::Act::kAnswer)
    value.refuse("needs text = \"...\", or fail = \"hang\" or \"end\"");
  if (says && answer.act != StubAnswer::Act::kAnswer)
    value.refuse("has fail beside what it answers; it does one of the two");
  if (!earlier.empty() && takes_all(earlier.back()))
    value.refuse("is never given: the answer at " + earlier.back().place + " takes every message");
  return answer;
}

// ---- What is sent at times --------------------------------------------------------------------------------

// A row's own keys, and those that say when.
template <class Row>
std::vector<Key<Row>> with_times(std::vector<Key<Row>> keys) {
  keys.push_back({"after", [](const Value& value, Row* row) { row->times.after = time_in(value); }});
  keys.push_back({"every", [](const Value& value, Row* row) {
                    row->times.every = time_in(value);
                    if (*row->times.every < kShortestEvery) value.refuse("must be 10ms or more");
                  }});
  keys.push_back({"count", [](const Value& value, Row* row) { row->times.count = count_in(value); }});
  return keys;
}

void check_times(const Value& value, Times* times) {
  if (!times->after && !times->every) value.refuse("needs a time: every = \"5s\" or after = \"1s\"");
  if (times->count && !times->every) value.refuse("has a count, and no time between: every = \"5s\"");
  if (!times->after) times->after = times->every;
}

const std::vector<Key<StubSend>> kSendKeys = with_times<StubSend>({
    {"to", [](const Value& value, StubSend* send) { send->to = value.text(); }},
    {"text", [](const Value& value, StubSend* send) { send->text = value.text(); }},
});

StubSend send_from(const Value& value, const std::vector<StubPeer>& peers) {
  StubSend send;
  read_keys(value, kSendKeys, &send);
  for (const char* key : {"to", "text"})
    if (!value.has(key)) value.refuse(std::string("needs ") + key + " = \"...\"");
  check_times(value, &send.times);
  std::vector<std::string> names;
  for (const StubPeer& peer : peers) {
    if (send.to == peer.name || send.to == peer.appid) send.appid = peer.appid;
    names.push_back(peer.name);
  }
  if (send.appid.empty())
    value.refuse("is to '" + send.to + "', which is no plug-in of the box" + advice_for(send.to, names));
  return send;
}

const std::vector<Key<StubEvent>> kEventKeys = with_times<StubEvent>({
    {"event",
     [](const Value& value, StubEvent* event) {
       event->event = value.text();
       if (find_event(event->event) == nullptr)
         value.refuse("is no event" + advice_for(event->event, event_names()));
     }},
    {"sub",
     [](const Value& value, StubEvent* event) { event->sub = static_cast<int>(value.number(0, 512)); }},
    {"text", [](const Value& value, StubEvent* event) { event->text = value.text(); }},
});

StubEvent event_from(const Value& value) {
  StubEvent event;
  read_keys(value, kEventKeys, &event);
  for (const char* key : {"event", "sub"})
    if (!value.has(key)) value.refuse(std::string("needs ") + key + ", such as event = \"wan\", sub = 257");
  if (const std::string fault = fault_of_subevent(*find_event(event.event), event.sub); !fault.empty())
    value.refuse("is wrong: " + fault);
  check_times(value, &event.times);
  return event;
}

}  // namespace

Stub read_stub(const std::string& file, const std::vector<StubPeer>& peers) {
  struct Reading {
    Stub stub;
    const std::vector<StubPeer>& peers;
  } reading{{}, peers};
  static const std::vector<Key<Reading>> kSections = {
      {"answer",
       [](const Value& value, Reading* read) {
         for (const Value& row : value.elements())
           read->stub.answers.push_back(answer_from(row, read->stub.answers));
       }},
      {"send",
       [](const Value& value, Reading* read) {
         for (const Value& row : value.elements()) read->stub.sends.push_back(send_from(row, read->peers));
       }},
      {"event",
       [](const Value& value, Reading* read) {
         for (const Value& row : value.elements()) read->stub.events.push_back(event_from(row));
       }},
  };
  const TomlFile toml(file);
  read_keys(toml.whole(), kSections, &reading);
  if (toml.whole().members().empty())
    throw Failure(file + ":1: a stub needs [[answer]], [[send]] or [[event]]");
  return std::move(reading.stub);
}

}  // namespace routerbox
