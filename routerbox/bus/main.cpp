// main.cpp: boxbus, the box's own client of its bus. In a process of its own, because the bus libraries wait without
// limit for a broker that stays silent, and change how signals are handled.
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "../http/json.h"
#include "../io.h"
#include "../verbs/status.h"
#include "bus/libubus.h"

namespace routerbox::bus {
namespace {

using Link = std::unique_ptr<ubus_context, zel::Call<ubus_free>>;
using Words = std::vector<std::string>;

constexpr int kReplyLimitMs = 8000;  // as long as plug-ins wait for each other
constexpr useconds_t kBetweenTriesUs = 2000;

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

Link connected() {
  Link link(ubus_connect(nullptr));
  if (!link) throw Failure("the broker takes no connections; routerbox start bus starts it again", kFailed);
  return link;
}

// Until the object is there, however often the broker ends meanwhile.
int wait_for(const Words& words) {
  while (true) {
    const Link link(ubus_connect(nullptr));
    uint32_t id = 0;
    while (link && !link->sock.eof) {
      if (ubus_lookup_id(link.get(), words[0].c_str(), &id) == 0) return kDone;
      usleep(kBetweenTriesUs);
    }
    usleep(kBetweenTriesUs);
  }
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
  const Link link = connected();
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
  const Link link = connected();
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
} kCommands[] = {{"wait", 1, 1, wait_for}, {"send", 2, 2, send}, {"event", 2, 3, send_event}};

int run(int argc, char** argv) {
  const Words words(argv + std::min(argc, 2), argv + argc);
  for (const auto& command : kCommands)
    if (argc > 1 && std::strcmp(argv[1], command.name) == 0 && words.size() >= command.least &&
        words.size() <= command.most)
      return command.run(words);
  std::cerr << "Usage: boxbus wait OBJECT | send OBJECT TEXT | event EVENT SUBEVENT [TEXT]\n" << std::flush;
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
