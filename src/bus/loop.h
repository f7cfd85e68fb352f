// loop.h: the table of bus connections and the thread that serves them.
//
// A connection enters with zel_loop_add_ubus and its entry stays for good, but it can go quiet: when its
// broker hangs up or the plug-in releases it, its descriptor leaves the read set and its context is not
// touched again.
#pragma once

#include <csignal>
#include <memory>

struct ubus_context;

namespace zel {

// Clears the table. Before the service thread exists.
void zel_loop_init() noexcept;

// Starts the service thread, detached. It takes none of the plug-in's signals; handlers run with the signal
// mask of the thread that calls this.
void start_service_thread() noexcept;

// The scope in which a handler or callback of the plug-in runs. On the service thread it has the plug-in's
// signal mask: programs that a handler starts inherit it.
class PluginCode {
 public:
  PluginCode() noexcept;
  ~PluginCode();
  PluginCode(const PluginCode&) = delete;
  PluginCode& operator=(const PluginCode&) = delete;

 private:
  bool on_service_thread_;
  sigset_t threads_mask_;
};

// The owner of a connection and of all its handlers use.
using Retired = std::unique_ptr<void, void (*)(void*)>;

// Whether the loop waits for the connection. With the global lock held.
bool is_served(const ubus_context* context) noexcept;

// Takes a connection out of service, then destroys its owner: at once, or, when a handler of that same
// connection asks for it, as soon as libubus is done with the dispatch. With the global lock held.
void retire_connection(ubus_context* context, Retired owner) noexcept;

}  // namespace zel
