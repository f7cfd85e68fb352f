#include "bus/work.h"

#include <pthread.h>

#include <utility>

#include "base/in_child.h"
#include "base/lock.h"
#include "base/sigpipe.h"
#include "bus/connect.h"

namespace {

// Guarded by the global lock, but for the mask and the body, which are fixed before the thread starts.
struct Service {
  bool running = false;
  pthread_t thread{};
  void* (*body)(void*) = nullptr;
  sigset_t plugin_mask{};
  ubus_context* at_work_for = nullptr;
  // Never destroyed: the thread goes on while exit() runs destructors.
  zel::Owner& retired = *new zel::Owner(nullptr, nullptr);

  bool is_this_thread() const noexcept { return running && pthread_equal(thread, pthread_self()) != 0; }
};
Service service;

// A child has no service thread, and what that was doing is its parent's.
const zel::InChild no_service_in_child(
    [](void*) {
      service.running = false;
      service.at_work_for = nullptr;
    },
    nullptr);

void* run_service(void* argument) {
  {
    const zel::GlobalSection section;
    service.thread = pthread_self();
    service.running = true;
  }
  return service.body(argument);
}

}  // namespace

namespace zel {

void start_thread(void* (*body)(void*)) noexcept {
  sigset_t all_but_faults;
  sigfillset(&all_but_faults);
  for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP})
    sigdelset(&all_but_faults, fault);
  pthread_sigmask(SIG_SETMASK, &all_but_faults, &service.plugin_mask);
  service.body = body;
  pthread_t thread;
  if (pthread_create(&thread, nullptr, run_service, nullptr) == 0) pthread_detach(thread);
  pthread_sigmask(SIG_SETMASK, &service.plugin_mask, nullptr);
}

PluginCode::PluginCode() noexcept : on_service_thread_(service.is_this_thread()) {
  if (!on_service_thread_) return;
  // Only a failed write leaves a SIGPIPE behind, and it ends the connection.
  if (service.at_work_for == nullptr || service.at_work_for->sock.eof) discard_sigpipe();
  pthread_sigmask(SIG_SETMASK, &service.plugin_mask, &threads_mask_);
}

PluginCode::~PluginCode() {
  if (on_service_thread_) pthread_sigmask(SIG_SETMASK, &threads_mask_, nullptr);
}

Work::Work(ubus_context* bus) noexcept {
  service.at_work_for = bus;
}

Work::~Work() {
  service.at_work_for = nullptr;
  if (service.retired == nullptr) return;
  service.retired.reset();
  discard_sigpipe();  // Its last answers may have found the broker gone; the next handler would get the signal.
}

bool Work::was_retired() const noexcept {
  return service.retired != nullptr;
}

bool is_at_work(const ubus_context* bus) noexcept {
  return service.at_work_for == bus;
}

void destroy_after_work(const ubus_context* bus, Owner owner) noexcept {
  if (is_at_work(bus)) service.retired = std::move(owner);
}

}  // namespace zel
