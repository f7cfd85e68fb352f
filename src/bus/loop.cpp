#include "bus/loop.h"

#include <fcntl.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/select.h>
#include <zel/service.h>

#include <algorithm>
#include <atomic>
#include <mutex>
#include <utility>

#include "base/log.h"
#include "bus/connect.h"

namespace {

constexpr int kCapacity = 16;

using zel_loop_handler = void (*)(int fd, void* argument);

struct zel_loop_action {
  int32_t fd;
  zel_loop_handler handler;
  void* argument;
};

struct zel_loop_table {
  fd_set read_set;
  int32_t max_fd;
  zel_loop_action actions[kCapacity];
  int32_t last;
};

// Guards `table`. Held for moments only: never across select, a handler, or another lock.
std::mutex table_mutex;
zel_loop_table table = {{}, 0, {}, -1};

// Tells the waiting thread that the read set has grown. -1 when there is none.
std::atomic<int> wake_event = -1;

// Guarded by the global lock: the connection libubus is working on, and its owner if that was retired
// meanwhile. Never destroyed: the thread goes on while exit() runs destructors.
ubus_context* dispatching = nullptr;
zel::Retired& retired_in_dispatch = *new zel::Retired(nullptr, nullptr);

sigset_t plugin_mask;  // Fixed before the service thread starts.

bool selectable(int fd) {
  return fd >= 0 && fd < FD_SETSIZE;
}

bool still_served(int fd, const void* argument) {
  const std::lock_guard hold(table_mutex);
  return FD_ISSET(fd, &table.read_set) &&
         std::any_of(table.actions, table.actions + table.last + 1, [&](const zel_loop_action& action) {
           return action.fd == fd && action.argument == argument;
         });
}

void stop_waiting_for(int fd) {
  const std::lock_guard hold(table_mutex);
  FD_CLR(fd, &table.read_set);
}

// A descriptor that was closed behind the library's back would make every select fail at once.
void drop_closed_descriptors() {
  const std::lock_guard hold(table_mutex);
  for (int fd = 0; fd <= table.max_fd; ++fd) {
    if (FD_ISSET(fd, &table.read_set) && fcntl(fd, F_GETFD) == -1) FD_CLR(fd, &table.read_set);
  }
  if (fcntl(wake_event, F_GETFD) == -1) wake_event = -1;
}

void dispatch_ubus(int fd, void* argument) {
  const zel::BusSection section;
  if (!still_served(fd, argument)) return;  // Retired while this thread waited for the lock.
  dispatching = static_cast<ubus_context*>(argument);
  dispatching->sock.cb(&dispatching->sock, ULOOP_READ);
  ubus_context* const served = std::exchange(dispatching, nullptr);
  if (retired_in_dispatch) {
    retired_in_dispatch.reset();
    return;
  }
  // After the end of file the socket stays readable for ever.
  if (served->sock.eof) stop_waiting_for(fd);
}

bool store_action(const zel_loop_action& wanted) {
  const std::lock_guard hold(table_mutex);
  if (table.last + 1 >= kCapacity) return false;
  // Kept: the count grows by one even when an entry is reused, so only 16 additions are ever possible.
  zel_loop_action* const fresh = table.actions + ++table.last;
  *std::find_if(table.actions, fresh, [&](const auto& entry) { return entry.fd == wanted.fd; }) = wanted;
  FD_SET(wanted.fd, &table.read_set);
  table.max_fd = std::max(table.max_fd, wanted.fd);
  return true;
}

int zel_loop_add_fd(int fd, zel_loop_handler handler, void* argument) {
  if (store_action({fd, handler, argument})) return 0;
  ZEL_LOG(LOG_ERR, "[ZEL_SVC]", "add loop socket failed: no space left!\n");
  return -1;
}

zel_loop_action action_at(int index) {
  const std::lock_guard hold(table_mutex);
  return index <= table.last ? table.actions[index] : zel_loop_action{};
}

// Waits for the sockets of the read set and the wake event. Returns how many sockets are ready; none on an
// error.
int wait_for_input(fd_set* ready) {
  int max_fd;
  {
    const std::lock_guard hold(table_mutex);
    *ready = table.read_set;
    max_fd = table.max_fd;
  }
  const int wake_fd = wake_event;
  if (selectable(wake_fd)) {
    FD_SET(wake_fd, ready);
    max_fd = std::max(max_fd, wake_fd);
  }
  int count = select(max_fd + 1, ready, nullptr, nullptr, nullptr);
  if (count < 0) {
    if (errno == EBADF) drop_closed_descriptors();
    return 0;
  }
  if (selectable(wake_fd) && FD_ISSET(wake_fd, ready)) {
    eventfd_t ignored;
    eventfd_read(wake_fd, &ignored);
    FD_CLR(wake_fd, ready);
    --count;
  }
  return count;
}

void* zel_svc_thread(void*) {
  for (;;) {
    fd_set ready;
    int count = wait_for_input(&ready);
    for (int i = 0; i < kCapacity && count > 0; ++i) {
      const zel_loop_action action = action_at(i);
      if (action.handler == nullptr || !FD_ISSET(action.fd, &ready)) continue;
      --count;
      action.handler(action.fd, action.argument);
    }
    if (count > 0) ZEL_TRACE("[ZEL_SVC]", "returned fd of select (%d) > actions\n", count);
  }
  return nullptr;
}

}  // namespace

namespace zel {

void zel_loop_init() noexcept {
  {
    const std::lock_guard hold(table_mutex);
    table = {{}, 0, {}, -1};
  }
  wake_event = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "zel loop init!\n");
}

void start_service_thread() noexcept {
  sigset_t all_but_faults;
  sigfillset(&all_but_faults);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP})
    sigdelset(&all_but_faults, fault);
  pthread_sigmask(SIG_SETMASK, &all_but_faults, &plugin_mask);
  pthread_t thread;
  if (pthread_create(&thread, nullptr, zel_svc_thread, nullptr) == 0) pthread_detach(thread);
  pthread_sigmask(SIG_SETMASK, &plugin_mask, nullptr);
}

PluginCode::PluginCode() noexcept : on_service_thread_(dispatching != nullptr) {
  if (!on_service_thread_) return;
  discard_sigpipe();
  pthread_sigmask(SIG_SETMASK, &plugin_mask, &threads_mask_);
}

PluginCode::~PluginCode() {
  if (on_service_thread_) pthread_sigmask(SIG_SETMASK, &threads_mask_, nullptr);
}

bool is_served(const ubus_context* context) noexcept {
  return still_served(context->sock.fd, context);
}

void retire_connection(ubus_context* context, Retired owner) noexcept {
  {
    const std::lock_guard hold(table_mutex);
    for (zel_loop_action& action : table.actions) {
      if (action.argument != context) continue;
      FD_CLR(action.fd, &table.read_set);
      action.argument = nullptr;
    }
  }
  if (dispatching == context) retired_in_dispatch = std::move(owner);
}

}  // namespace zel

int zel_loop_add_ubus(ubus_context* context) {
  const bool usable = context != nullptr && selectable(context->sock.fd);
  if (!usable || zel_loop_add_fd(context->sock.fd, dispatch_ubus, context) != 0) {
    ZEL_LOG(LOG_ERR, "[ZEL_SVC]", "add ubus socket to loop failed!\n\n");
    return -1;
  }
  // A thread that already waits does so on the old set.
  if (wake_event >= 0) eventfd_write(wake_event, 1);
  return 0;
}
