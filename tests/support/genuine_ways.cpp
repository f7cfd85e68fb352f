#include "genuine_ways.h"

#include <dlfcn.h>
#include <sys/socket.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <initializer_list>

#include "bus/libubus.h"

GenuineWays genuine_ways;

namespace {

// The function behind the one of that name here.
template <class Function>
Function* next(Function*, const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
#define NEXT(function) next(function, #function)

void take_signals() {
  for (const int signal : {SIGINT, SIGTERM, SIGCHLD, SIGPIPE}) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    if (now.sa_handler != SIG_DFL) continue;
    now.sa_handler = signal == SIGPIPE ? SIG_IGN : [](int) {};
    now.sa_flags = 0;
    sigaction(signal, &now, nullptr);
  }
}

std::atomic<uloop_fd_handler> read_frames = nullptr;

void read_a_frame_or_lose_it(uloop_fd* sock, unsigned events) {
  struct {
    ubus_msghdr header;
    blob_attr body;
  } head;
  if (recv(sock->fd, &head, sizeof head, MSG_PEEK | MSG_DONTWAIT) == sizeof head &&
      (head.header.version != 0 || blob_pad_len(&head.body) > UBUS_MAX_MSGLEN)) {
    recv(sock->fd, &head, sizeof head, MSG_DONTWAIT);
    return;
  }
  read_frames.load()(sock, events);
}

// What a call gives whose connection has ended meanwhile.
int outlive(ubus_context* ctx, int status) {
  if (genuine_ways.writes_raise_sigpipe && ctx->sock.eof) raise(SIGPIPE);
  if (!genuine_ways.calls_outlive_the_connection || status != UBUS_STATUS_CONNECTION_FAILED) return status;
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  ubus_request open{};
  list_add_tail(&open.list, &ctx->requests);
  while (!open.status_msg) {
    ctx->connection_lost(ctx);
    if (std::chrono::steady_clock::now() > limit) abort();
  }
  list_del(&open.list);
  return open.status_code;
}

}  // namespace

extern "C" {

ubus_context* ubus_connect(const char* path) {
  if (genuine_ways.connect_takes_signals) take_signals();
  if (genuine_ways.interrupted_connects > 0) {
    --genuine_ways.interrupted_connects;
    errno = EINTR;
    return nullptr;
  }
  ubus_context* const ctx = NEXT(ubus_connect)(path);
  if (ctx == nullptr) return nullptr;
  if (genuine_ways.loses_framing) {
    read_frames = ctx->sock.cb;
    ctx->sock.cb = read_a_frame_or_lose_it;
  }
  if (genuine_ways.free_keeps_the_timer) uloop_timeout_set(&ctx->pending_timer, 60000);
  return ctx;
}

void ubus_free(ubus_context* ctx) {
  if (genuine_ways.free_keeps_the_timer && (ctx == nullptr || ctx->pending_timer.pending)) {
    if (ctx == nullptr) abort();
    ++genuine_ways.freed_with_an_armed_timer;
  }
  NEXT(ubus_free)(ctx);
}

int ubus_lookup_id(ubus_context* ctx, const char* path, uint32_t* id) {
  return outlive(ctx, NEXT(ubus_lookup_id)(ctx, path, id));
}

int ubus_add_object(ubus_context* ctx, ubus_object* obj) {
  return outlive(ctx, NEXT(ubus_add_object)(ctx, obj));
}

int ubus_remove_object(ubus_context* ctx, ubus_object* obj) {
  return outlive(ctx, NEXT(ubus_remove_object)(ctx, obj));
}

int ubus_invoke_fd(ubus_context* ctx, uint32_t obj, const char* method, blob_attr* msg,
                   ubus_data_handler_t cb, void* priv, int timeout, int fd) {
  return outlive(ctx, NEXT(ubus_invoke_fd)(ctx, obj, method, msg, cb, priv, timeout, fd));
}

}  // extern "C"
