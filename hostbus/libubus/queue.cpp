#include <new>

#include "context.h"

namespace hostbus {
namespace {

// A node of ctx->pending.
struct Queued {
  list_head list;
  Message message;
};

}  // namespace

void queue(ubus_context* ctx, Message message) {
  auto* queued = new (std::nothrow) Queued{.list = {}, .message = std::move(message)};
  if (queued != nullptr) list_add_tail(&queued->list, &ctx->pending);
}

std::optional<Message> take_queued(ubus_context* ctx) {
  if (list_empty(&ctx->pending)) return std::nullopt;
  const std::unique_ptr<Queued> first(list_first_entry(&ctx->pending, Queued, list));
  list_del(&first->list);
  return std::move(first->message);
}

void forget_queued(ubus_context* ctx) {
  Queued* queued = nullptr;
  Queued* following = nullptr;
  list_for_each_entry_safe(queued, following, &ctx->pending, list) delete queued;
}

}  // namespace hostbus
