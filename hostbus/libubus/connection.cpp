#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <new>
#include <utility>

#include "base/handles.h"
#include "context.h"

namespace hostbus {
namespace {

// Empty on failure.
zel::Descriptor open_socket(const char* path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const size_t length = strlen(path);
  if (length >= sizeof(address.sun_path)) return {};
  memcpy(address.sun_path, path, length);
  zel::Descriptor fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  const auto* at = reinterpret_cast<const sockaddr*>(&address);
  if (!fd || zel::retry([&] { return connect(fd.get(), at, sizeof(address)); }) < 0) return {};
  return fd;
}

// How long a broker may take to greet. One that is stopped would keep the program for ever.
constexpr std::chrono::seconds kGreetingLimit(5);

// Waits for the broker's greeting. Returns the client id, or 0 when none comes or it is not a greeting.
uint32_t receive_greeting(int fd, FrameReader* reader) {
  const Deadline limit = Deadline::after(kGreetingLimit);
  Message greeting;
  Read read = Read::kNothing;
  while ((read = reader->next(fd, limit, &greeting)) == Read::kNothing) {
    if (wait_for(fd, POLLIN, limit) && !limit.is_over()) continue;
    errno = ETIMEDOUT;
    return 0;
  }
  if (read != Read::kMessage || greeting.type != UBUS_MSG_HELLO) return 0;
  return greeting.peer == UBUS_CLIENT_ID_CHANNEL ? 0 : greeting.peer;
}

int open_connection(ubus_context* ctx, const char* path) {
  zel::Descriptor fd = open_socket(path == nullptr ? UBUS_UNIX_SOCKET : path);
  if (!fd) return UBUS_STATUS_CONNECTION_FAILED;
  const uint32_t id = receive_greeting(fd.get(), &ctx->state->reader);
  if (id == 0) return UBUS_STATUS_UNKNOWN_ERROR;
  const int mode = fcntl(fd.get(), F_GETFL);
  if (mode < 0 || fcntl(fd.get(), F_SETFL, mode | O_NONBLOCK) < 0) return UBUS_STATUS_SYSTEM_ERROR;
  ctx->local_id = cpu_to_be32(id);
  ctx->sock.fd = fd.release();
  return UBUS_STATUS_OK;
}

void serve_or_queue(ubus_context* ctx, Message message) {
  if (ctx->stack_depth == 0) {
    serve_invoke(ctx, message);
    return;
  }
  queue(ctx, std::move(message));
}

void receive(ubus_context* ctx, Message message) {
  switch (message.type) {
    case UBUS_MSG_STATUS:
      receive_status(ctx, message);
      break;
    case UBUS_MSG_DATA:
      receive_data(ctx, message);
      break;
    case UBUS_MSG_INVOKE:
      serve_or_queue(ctx, std::move(message));
      break;
    case UBUS_MSG_MONITOR:
      if (ctx->monitor_cb != nullptr) ctx->monitor_cb(ctx, message.seq, message.body());
      break;
    default:
      break;
  }
}

void receive_all(ubus_context* ctx, const Deadline& limit) {
  // Also after eof, which a failed write or the loop may have set: what the broker sent before is still
  // there.
  while (true) {
    Message message;
    const Read read = ctx->state->reader.next(ctx->sock.fd, limit, &message);
    if (read == Read::kNothing) return;
    if (read == Read::kClosed) {
      ctx->sock.eof = true;
      return;
    }
    receive(ctx, std::move(message));
    run_queued(ctx);
    // Kept: after a synchronous call one message is handled at a time, though more may be readable.
    if (ctx->cancel_poll) return;
  }
}

void on_readable(uloop_fd* sock, unsigned) {
  process_input(container_of(sock, ubus_context, sock), Deadline::never());
}

void on_pending_timer(uloop_timeout* timer) {
  run_queued(container_of(timer, ubus_context, pending_timer));
}

void end_loop(ubus_context* ctx) {
  if (ctx->sock.registered) uloop_end();
}

bool prepare(ubus_context* ctx) {
  memset(ctx, 0, sizeof(*ctx));
  INIT_LIST_HEAD(&ctx->requests);
  INIT_LIST_HEAD(&ctx->pending);
  INIT_LIST_HEAD(&ctx->objects.list_head);
  ctx->sock.fd = -1;
  ctx->sock.cb = on_readable;
  ctx->pending_timer.cb = on_pending_timer;
  ctx->connection_lost = end_loop;
  ctx->state = new (std::nothrow) ubus_context_state;
  return ctx->state != nullptr;
}

void shut_down(ubus_context* ctx) {
  if (ctx->sock.registered) uloop_fd_delete(&ctx->sock);
  if (ctx->sock.fd >= 0) close(ctx->sock.fd);
  if (ctx->pending_timer.pending) uloop_timeout_cancel(&ctx->pending_timer);
  forget_queued(ctx);
  delete ctx->state;
}

}  // namespace

Sent send_message(ubus_context* ctx, ubus_msg_type type, uint16_t seq, uint32_t peer, const blob_attr* body) {
  if (ctx->sock.eof) return Sent::kBroken;
  const ubus_msghdr header{.version = 0, .type = static_cast<uint8_t>(type), .seq = seq, .peer = peer};
  const Sent sent = send_frame(ctx->sock.fd, header, body);
  if (sent == Sent::kBroken) ctx->sock.eof = true;
  return sent;
}

void process_input(ubus_context* ctx, const Deadline& limit) noexcept {
  run_queued(ctx);
  receive_all(ctx, limit);
  run_queued(ctx);
  if (!ctx->sock.eof) return;
  // Kept: every call says so again; without uloop nothing else stops a thread that waits on the socket.
  if (ctx->connection_lost != nullptr) ctx->connection_lost(ctx);
}

void run_queued(ubus_context* ctx) noexcept {
  while (ctx->stack_depth == 0) {
    const std::optional<Message> queued = take_queued(ctx);
    if (!queued) return;
    serve_invoke(ctx, *queued);
  }
}

}  // namespace hostbus

using namespace hostbus;

extern "C" {

ubus_context* ubus_connect(const char* path) {
  std::unique_ptr<ubus_context> ctx(new (std::nothrow) ubus_context);
  if (!ctx || !prepare(ctx.get())) return nullptr;
  if (open_connection(ctx.get(), path) == UBUS_STATUS_OK) return ctx.release();
  shut_down(ctx.get());
  return nullptr;
}

void ubus_free(ubus_context* ctx) {
  if (ctx == nullptr) return;
  shut_down(ctx);
  delete ctx;
}

}  // extern "C"
