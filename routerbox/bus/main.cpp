// main.cpp: boxbus, the box's own client of its bus. In a process of its own, because the bus libraries wait without
// limit for a broker that stays silent, and change how signals are handled.
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "../support/io.h"
#include "../support/json.h"
#include "../support/places.h"
#include "../support/status.h"
#include "bus/libubus.h"
#include "record.h"

namespace routerbox::bus {
namespace {

using Link = std::unique_ptr<ubus_context, zel::Call<ubus_free>>;
using Words = std::vector<std::string>;

constexpr int kReplyLimitMs = 8000;  // as long as plug-ins wait for each other

// Between tries to be on the bus. The recorder is to be there again before plug-ins are, and not to keep a broker busy
// that hangs up at once.
class Pauses {
 public:
  void wait() {
    const auto now = Clock::now();
    if (now - last_ > kQuiet) pause_ = kFirst;
    std::this_thread::sleep_for(pause_);
    pause_ = std::min(2 * pause_, kLongest);
    last_ = Clock::now();
  }

 private:
  using Clock = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kFirst{2}, kLongest{50}, kQuiet{500};

  std::chrono::milliseconds pause_ = kFirst;
  Clock::time_point last_;
};

class Message {
 public:
  Message() { blob_buf_init(&buffer_, 0); }
  ~Message() { blob_buf_free(&buffer_); }
  Message(const Message&) = delete;
  Message& operator=(const Message&) = delete;
  blob_buf* buffer() { return &buffer_; }
  blob_attr* data() { return buffer_.head; }

 private:
  blob_buf buffer_{};
};

Link connect_to_bus() {
  Link link(ubus_connect(nullptr));
  if (!link) throw Failure("the broker takes no connections; routerbox start bus starts it again", kFailed);
  return link;
}

bool wait_for_input(const Link& link) {
  pollfd input{link->sock.fd, POLLIN, 0};
  if (poll(&input, 1, -1) < 0) return false;
  ubus_handle_event(link.get());
  return true;
}

// Waits for one object. Its address is its event handler's.
struct Awaited : ubus_event_handler {
  std::string name;
  bool found = false;
};

void take_object(ubus_context*, ubus_object_data* object, void* awaited) {
  auto* const wanted = static_cast<Awaited*>(awaited);
  if (wanted->name == object->path) wanted->found = true;
}

void take_new_object(ubus_context*, ubus_event_handler* handler, const char*, blob_attr* message) {
  constexpr blobmsg_policy kPolicy[] = {{.name = "path", .type = BLOBMSG_TYPE_STRING}};
  blob_attr* path = nullptr;
  blobmsg_parse(kPolicy, 1, &path, blob_data(message), static_cast<unsigned int>(blob_len(message)));
  auto* const wanted = static_cast<Awaited*>(handler);
  if (path != nullptr && wanted->name == blobmsg_get_string(path)) wanted->found = true;
}

// Until the object is there, however often the broker ends meanwhile.
int wait_for(const Words& words) {
  for (Pauses pauses;;) {
    const Link link(ubus_connect(nullptr));
    Awaited awaited{};
    awaited.cb = take_new_object;
    awaited.name = words[0];
    if (link && ubus_register_event_handler(link.get(), &awaited, "ubus.object.add") == 0)
      ubus_lookup(link.get(), nullptr, take_object, &awaited);
    while (link && !awaited.found && !link->sock.eof) wait_for_input(link);
    if (awaited.found) return kDone;
    pauses.wait();
  }
}

volatile sig_atomic_t watching = 0, ending = 0;

void take_end(int) {
  if (watching == 0) _exit(kDone);  // waits for a broker that may be silent
  ending = 1;
}

Recorder* recorder = nullptr;  // the library's callback takes nothing along

[[maybe_unused]] void take_frame(ubus_context*, uint32_t, blob_attr* description) {
  if (const std::optional<Frame> frame = frame_from(description)) recorder->take(*frame);
}

void take_name(ubus_context*, ubus_object_data* object, void*) {
  recorder->add_object(object->id, object->path);
}

// A status of the bus; the libraries and brokers of some years show nothing.
int start_watching(const Link& link) {
#ifdef UBUS_SYSTEM_OBJECT_MONITOR
  link->monitor_cb = take_frame;
  return ubus_monitor_start(link.get());
#else
  return link ? UBUS_STATUS_NOT_SUPPORTED : UBUS_STATUS_CONNECTION_FAILED;
#endif
}

void watch(const Link& link) {
  if (const int status = start_watching(link); status != 0)
    std::cerr << std::string(
                     "boxbus: the broker does not show what its clients send, so the trace lacks it: ") +
                     ubus_strerror(status) + "\n"
              << std::flush;
  ubus_lookup(link.get(), nullptr, take_name, nullptr);
  write_file(kBusRecorder, "", 0644);
  watching = 1;
  while (ending == 0 && !link->sock.eof) wait_for_input(link);
  watching = 0;
  if (ending != 0) ubus_handle_event(link.get());
}

int record(const Words& words) {
  Trace trace(words[0]);
  Recorder own(trace, words[0]);
  recorder = &own;
  struct sigaction end {};
  end.sa_handler = take_end;
  sigaction(SIGTERM, &end, nullptr);
  for (Pauses pauses; ending == 0;) {
    if (const Link link(ubus_connect(nullptr)); link) watch(link);
    recorder->forget();
    pauses.wait();
  }
  return kDone;
}

void take_answer(ubus_request* request, int, blob_attr* reply) {
  constexpr blobmsg_policy kPolicy[] = {{.name = "description", .type = BLOBMSG_TYPE_STRING}};
  blob_attr* description = nullptr;
  if (reply == nullptr) return;
  blobmsg_parse(kPolicy, 1, &description, blob_data(reply), static_cast<unsigned int>(blob_len(reply)));
  if (description != nullptr)
    (*static_cast<Json*>(request->priv))["answer"] = blobmsg_get_string(description);
}

// A cloud message, as the router's cloud link sends it.
int send(const Words& words) {
  const Link link = connect_to_bus();
  uint32_t id = 0;
  if (ubus_lookup_id(link.get(), words[0].c_str(), &id) != 0) return kNo;
  Message message;
  blobmsg_add_string(message.buffer(), "msg", words[1].c_str());
  Json result = {{"answer", nullptr}, {"status", 0}, {"meaning", ""}};
  const int status =
      ubus_invoke(link.get(), id, "send_cmd", message.data(), take_answer, &result, kReplyLimitMs);
  result["status"] = status;
  result["meaning"] = ubus_strerror(status);
  std::cout << text_of(result) << std::flush;
  return status == UBUS_STATUS_TIMEOUT ? kTimedOut : kDone;
}

int send_event(const Words& words) {
  const Link link = connect_to_bus();
  Message message;
  blobmsg_add_u32(message.buffer(), "event", static_cast<uint32_t>(std::stoul(words[0])));
  blobmsg_add_u32(message.buffer(), "subevent", static_cast<uint32_t>(std::stoul(words[1])));
  if (words.size() > 2) blobmsg_add_string(message.buffer(), "data", words[2].c_str());
  const int status = ubus_send_event(link.get(), "zel.event", message.data());
  if (status != 0) throw Failure(std::string("the bus refused the event: ") + ubus_strerror(status), kFailed);
  return kDone;
}

constexpr struct {
  const char* name;
  size_t least, most;  // words after it
  int (*run)(const Words& words);
} kCommands[] = {
    {"wait", 1, 1, wait_for}, {"send", 2, 2, send}, {"event", 2, 3, send_event}, {"record", 1, 1, record}};

int run(int argc, char** argv) {
  const Words words(argv + std::min(argc, 2), argv + argc);
  for (const auto& command : kCommands)
    if (argc > 1 && std::strcmp(argv[1], command.name) == 0 && words.size() >= command.least &&
        words.size() <= command.most)
      return command.run(words);
  std::cerr << "Usage: boxbus wait OBJECT | send OBJECT TEXT | event EVENT SUBEVENT [TEXT] | record FOLDER\n"
            << std::flush;
  return kWrongCommandLine;
}

}  // namespace
}  // namespace routerbox::bus

int main(int argc, char** argv) {
  try {
    return routerbox::bus::run(argc, argv);
  } catch (const std::exception& error) {
    std::cerr << error.what() << std::flush;
    return routerbox::kFailed;
  }
}
