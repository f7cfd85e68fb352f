// dispatch.h: what the service thread does with the connections of its loop.
//
// A connection enters with zel_loop_add_ubus. When its broker hangs up it is not waited for any more, and one of the
// library's own is made anew (comeback.h). One that was retired is not touched again.
#pragma once

#include "bus/work.h"

namespace zel {

// Clears the loop. Before the service thread exists.
void zel_loop_init() noexcept;

// Starts the thread that serves the loop.
void start_service_thread() noexcept;

// Whether the service thread waits for the connection. With the global lock held.
[[nodiscard]] bool is_served(const ubus_context* bus) noexcept;

// Takes a connection out of service, then destroys its owner: at once, or, when a handler of that same connection
// asks for it, as soon as libubus is done. With the global lock held.
void retire_connection(const ubus_context* bus, Owner owner) noexcept;

}  // namespace zel
