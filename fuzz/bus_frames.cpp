// What a broker sends to a client: the input comes behind the greeting and the answer to the client's first request.
#include <libubus.h>
#include <poll.h>
#include <unistd.h>

#include <thread>

#include "input.h"
#include "support/raw_client.h"

namespace {

using namespace test;

// Sends what it is given to each client in turn, and hears it out.
class Broker {
 public:
  Broker()
      : path_("/tmp/fuzz_bus_frames." + std::to_string(getpid())),
        listener_(socket(AF_UNIX, SOCK_STREAM, 0)) {
    const sockaddr_un address = address_of(path_);
    check(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0);
    check(listen(listener_.get(), 1) == 0);
  }
  ~Broker() { unlink(path_.c_str()); }

  const std::string& path() const { return path_; }

  void serve(const ByteString& bytes) const {
    // The fuzzer's timer interrupts waits.
    const FrameSocket client(
        zel::Descriptor(zel::retry([&] { return accept(listener_.get(), nullptr, nullptr); })));
    client.try_send(bytes, 0);
    shutdown(client.fd(), SHUT_WR);
    char heard[4096];
    while (zel::retry([&] { return recv(client.fd(), heard, sizeof heard, 0); }) > 0) continue;
  }

 private:
  std::string path_;
  zel::Descriptor listener_;
};

constexpr uint32_t kOwn = 5000;

int reply(ubus_context* ctx, ubus_object*, ubus_request_data* request, const char* method,
          blob_attr* message) {
  read_text(method);
  blobmsg_policy policy{.name = "msg", .type = BLOBMSG_TYPE_STRING};
  blob_attr* text = nullptr;
  blobmsg_parse(&policy, 1, &text, blob_data(message), static_cast<unsigned>(blob_len(message)));
  if (text != nullptr) read_text(blobmsg_get_string(text));
  return ubus_send_reply(ctx, request, message);
}

void run_client(const std::string& path) {
  static const ubus_method methods[] = {
      {.name = nullptr, .handler = reply, .mask = 0, .tags = 0, .policy = nullptr, .n_policy = 0}};
  ubus_context* const ctx = ubus_connect(path.c_str());
  check(ctx != nullptr);
  ctx->monitor_cb = [](ubus_context*, uint32_t, blob_attr* frame) {
    blob_attr* fields[UBUS_MONITOR_MAX + 1];
    blob_parse(frame, fields, nullptr, UBUS_MONITOR_MAX + 1);
  };
  ubus_object object{};
  object.methods = methods;
  object.n_methods = 1;
  check(ubus_add_object(ctx, &object) == 0 && object.id == kOwn);
  const auto note = [](ubus_context*, ubus_object_data* found, void*) { read_text(found->path); };
  ubus_lookup(ctx, nullptr, note, nullptr);
  while (!ctx->sock.eof) ubus_handle_event(ctx);
  ubus_free(ctx);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Broker broker;
  const ByteString answer = joined({frame(kHello, 0, 77, {}), frame(kData, 1, 0, {number(kObject, kOwn)}),
                                    frame(kStatus, 1, 0, {number(kCode, 0)}), ByteString(data, data + size)});
  std::thread client(run_client, broker.path());
  broker.serve(answer);
  client.join();
  return 0;
}
