// work.h: the service thread, and what it is doing.
#pragma once

#include <csignal>
#include <memory>

struct ubus_context;

namespace zel {

// Starts the service thread, detached. It takes none of the plug-in's signals; handlers run with the signal
// mask of the thread that calls this.
void start_thread(void* (*body)(void*)) noexcept;

// The scope in which a handler or callback of the plug-in runs. On the service thread it has the plug-in's
// signal mask: programs that a handler starts inherit it. With the global lock held, as all below.
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

// The owner of a connection and of all that its handlers use.
using Owner = std::unique_ptr<void, void (*)(void*)>;

// Work of libubus for a connection that the service thread serves.
class Work {
 public:
  explicit Work(ubus_context* bus) noexcept;
  ~Work();
  Work(const Work&) = delete;
  Work& operator=(const Work&) = delete;

  // Whether a handler has retired the connection.
  [[nodiscard]] bool was_retired() const noexcept;
};

// Whether libubus is at work for the connection: then it is one of its handlers that asks.
[[nodiscard]] bool is_at_work(const ubus_context* bus) noexcept;

// Destroys the connection's owner: at once, or as soon as the work for it is done.
void destroy_after_work(const ubus_context* bus, Owner owner) noexcept;

}  // namespace zel
