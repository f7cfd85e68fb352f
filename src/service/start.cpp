#include <syslog.h>
#include <zel/cloud.h>
#include <zel/event.h>
#include <zel/perm.h>
#include <zel/service.h>

#include <mutex>

#include "base/in_child.h"
#include "base/libc_section.h"
#include "base/log.h"
#include "bus/dispatch.h"

namespace {

// Lets one thread through to start-up and makes others wait until it is done. Recursive, since start-up may
// run a callback of the plug-in that calls it again.
zel::Mutex start_mutex(PTHREAD_MUTEX_RECURSIVE);
int32_t zel_service_started = 0;  // Guarded by start_mutex.

// Kept: set before any work and never cleared, so a start-up that failed is not tried again.
bool first_call() {
  if (zel_service_started != 0) return false;
  zel_service_started = 1;
  return true;
}

void prepare() {
  {
    const zel::LibcSection section;
    openlog("ZEL", LOG_PID, LOG_USER);
  }
  zel::zel_loop_init();
}

// Whether the table says no. Any other failure is of the query itself: it says nothing about the plug-in.
bool is_refusal(int result) {
  return result == PERM_NOT_GRANTED || result == PERM_UNKNOWN_APP || result == PERM_BAD_ARGUMENT;
}

// Logs, under the name of the call that asked for it, whether a side of the bus came up.
bool report(const char* who, const char* side, bool up) {
  ZEL_LOG_AS(who, LOG_INFO, "[ZEL_SVC]", "%s init%s!\n", side, up ? "" : ": fail");
  return up;
}

void serve(const char* who) {
  zel::start_service_thread();
  ZEL_LOG_AS(who, LOG_INFO, "[ZEL_SVC]", "zel service thread start!\n");
}

}  // namespace

int zel_service_init(void) {
  const std::lock_guard starting(start_mutex);
  if (!first_call()) return 0;
  prepare();

  char appid[PERM_APPID_SIZE] = {};
  if (perm_get_id(appid) != 0) {
    ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "get appid: fail!\n");
    return -1;
  }
  const int cloud = perm_check(ability_cloud_communication, appid);
  if (!is_refusal(cloud) && !report(__func__, "cloud", cloud == 0 && zel_cloud_msg_init() != -1)) return -1;
  const int events = perm_check(ability_notify_rcv, appid);
  if (!is_refusal(events) && !report(__func__, "event", events == 0 && zel_event_init() >= 0)) return -1;

  if (cloud == 0 || events == 0) serve(__func__);
  ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "zel service start!\n");
  return 0;
}

int zel_service_init_dbg(const char* name) {
  const std::lock_guard starting(start_mutex);
  if (!first_call()) return 0;
  prepare();

  const bool up = name != nullptr ? report(__func__, "cloud", zel_cloud_msg_init_dbg(name) != -1)
                                  : report(__func__, "event", zel_event_init() >= 0);
  if (!up) return -1;
  serve(__func__);
  ZEL_LOG(LOG_INFO, "[ZEL_SVC]", "zel service start!\n");
  return 0;
}
