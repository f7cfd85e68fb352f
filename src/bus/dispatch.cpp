#include "bus/dispatch.h"

#include <zel/service.h>

#include <utility>

#include "base/log.h"
#include "bus/comeback.h"
#include "bus/connect.h"
#include "bus/frame.h"
#include "bus/loop.h"

namespace {

zel::Loop loop;

void lose(const ubus_context* bus) {
  loop.pause(bus);  // After the end of file the socket stays readable for ever.
  zel::discard_sigpipe();
  zel::comeback.note_loss(bus);
}

// So that the head of every frame is looked at. Libubus of 2014 cannot be asked for it: it reads all that has come.
template <class Context>
void ask_for_one_frame(Context* bus) {
  if constexpr (requires { bus->cancel_poll; }) bus->cancel_poll = true;
}

// The service thread blocks all signals: SIGPIPE needs no guard here.
void dispatch_ubus(int fd, void* argument) {
  const zel::GlobalSection section;
  if (!loop.waits_for(argument)) return;  // Retired while this thread waited for the lock.
  auto* const bus = static_cast<ubus_context*>(argument);
  zel::clear_bad_frames(fd);
  ask_for_one_frame(bus);
  const zel::Work work(bus);
  bus->sock.cb(&bus->sock, ULOOP_READ);
  if (!work.was_retired() && bus->sock.eof) lose(bus);
}

void* zel_svc_thread(void*) {
  for (;;) {
    const int unexplained = loop.turn(zel::comeback.pause_ms());
    if (unexplained > 0) ZEL_TRACE("[ZEL_SVC]", "returned fd of select (%d) > actions\n", unexplained);
    zel::comeback.try_when_due(&loop);
  }
  return nullptr;
}

int zel_loop_add_fd(int fd, zel::Loop::Handler handler, void* argument) {
  if (loop.add(fd, handler, argument)) return 0;
  ZEL_LOG(LOG_ERR, "[ZEL_SVC]", "add loop socket failed: no space left!\n");
  return -1;
}

}  // namespace

namespace zel {

void zel_loop_init() noexcept {
  loop.clear();
  ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "zel loop init!\n");
}

void start_service_thread() noexcept {
  start_thread(zel_svc_thread);
}

bool is_served(const ubus_context* bus) noexcept {
  return loop.waits_for(bus);
}

void retire_connection(const ubus_context* bus, Owner owner) noexcept {
  loop.forget(bus);
  comeback.let_go(bus);
  destroy_after_work(bus, std::move(owner));
}

}  // namespace zel

int zel_loop_add_ubus(ubus_context* context) {
  const bool usable = context != nullptr && zel::Loop::can_hold(context->sock.fd);
  if (!usable || zel_loop_add_fd(context->sock.fd, dispatch_ubus, context) != 0) {
    ZEL_LOG(LOG_ERR, "[ZEL_SVC]", "add ubus socket to loop failed!\n\n");
    return -1;
  }
  return 0;
}
