// Every call of a plug-in's bus side, and the service thread's own work, with each system call failing in turn: 0 or
// -1, nothing left behind, no lock kept, and the next call works.
#include <gtest/gtest.h>
#include <sys/shm.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <zel/zel.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <thread>

#include "bus/comeback.h"
#include "bus/connect.h"
#include "bus/dispatch.h"
#include "bus/frame.h"
#include "support/captured.h"
#include "support/failing.h"
#include "support/process.h"

namespace {

constexpr uid_t kUser = 10005;  // May send and receive, see packages.json.

const struct Fault {
  Fails kind;
  int error;
} kFaults[] = {{Fails::kMemory, ENOMEM},   {Fails::kOpen, EMFILE},   {Fails::kOpen, EINTR},
               {Fails::kWrite, ENOSPC},    {Fails::kWrite, EINTR},   {Fails::kClose, EIO},
               {Fails::kSegment, ENOMEM},  {Fails::kSegment, EIDRM}, {Fails::kSemaphore, EIDRM},
               {Fails::kSemaphore, EINTR}, {Fails::kThread, EAGAIN}, {Fails::kSocket, ENOMEM},
               {Fails::kSocket, EINTR},    {Fails::kRead, EIO},      {Fails::kRead, EINTR}};

int answer(const char*, uint32_t, char*, uint32_t) {
  return 0;
}
void hear(int32_t, const char*) {}

void nothing() {}
void make_object() {
  zel::zel_loop_init();
  zel_cloud_msg_init_dbg("faults");
}
void drop_receiver() {
  ubus_context* const bus = std::exchange(zel_event_ctx, nullptr);
  if (bus == nullptr) return;
  const zel::BusSection section;
  zel::retire_connection(bus,
                         zel::Owner(bus, [](void* it) { zel::close_bus(static_cast<ubus_context*>(it)); }));
}

void make_receiver() {
  zel::zel_loop_init();
  zel_event_init();
}
void lose_receiver() {
  make_receiver();
  zel::comeback.note_loss(zel_event_ctx);
}
// A busy broker may greet too late for one try.
int bring_back() {
  static zel::Loop loop;
  for (int tries = 0; tries < 20 && zel::comeback.pause_ms() != -1; ++tries) {
    usleep(static_cast<useconds_t>(zel::comeback.pause_ms()) * 1000);
    zel::comeback.try_when_due(&loop);
  }
  return zel::comeback.pause_ms() == -1 ? 0 : -1;
}

// 0 when libubus finds nothing but the end behind a frame of another version.
int look_at_a_bad_frame() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return 1;
  const zel::Descriptor ours(ends[0]);
  const zel::Descriptor brokers(ends[1]);
  char bytes[12] = {1};
  iovec place = {bytes, sizeof bytes};
  msghdr frame{};
  frame.msg_iov = &place;
  frame.msg_iovlen = 1;
  sendmsg(brokers.get(), &frame, 0);
  zel::clear_bad_frames(ours.get());
  return recvmsg(ours.get(), &frame, MSG_DONTWAIT) == 0 ? 0 : -1;
}

char name[64];

const struct Call {
  const char* name;
  int (*call)();
  void (*before)() = nothing;
  void (*after)() = nothing;
} kCalls[] = {
    {"zel_cloud_msg_init", zel_cloud_msg_init, zel::zel_loop_init, zel_cloud_msg_release},
    {"zel_cloud_msg_init_dbg", [] { return zel_cloud_msg_init_dbg("faults"); }, zel::zel_loop_init,
     zel_cloud_msg_release},
    {"zel_cloud_msg_handler_register", [] { return zel_cloud_msg_handler_register(answer); }, make_object,
     zel_cloud_msg_release},
    {"zel_cloud_msg_release", [] { return zel_cloud_msg_release(), 0; }, make_object, zel_cloud_msg_release},
    {"zel_cloud_get_object_name", [] { return zel_cloud_get_object_name(name, sizeof name); }},
    {"zel_cloud_get_object_name_abandon",
     [] { return zel_cloud_get_object_name_abandon(name, sizeof name); }},
    {"zel_cloud_msg_send",
     [] {
       char* const text = zel_cloud_msg_send("1001", "m");
       zel_free(text);
       return text != nullptr ? 0 : -1;
     }},
    {"zel_event_init", zel_event_init, zel::zel_loop_init, drop_receiver},
    {"zel_event_subscribe", [] { return zel_event_subscribe(0, hear); }},
    {"zel_event_unsubscribe", [] { return zel_event_unsubscribe(0); }},
    {"zel_event_send", [] { return zel_event_send(0, 0, "d"); }},
    {"zel_event_send_disk", [] { return zel_event_send_disk(0, "d"); }},
    {"zel_event_send_wan", [] { return zel_event_send_wan(256, "d"); }},
    {"zel_event_send_home", [] { return zel_event_send_home(512, "d"); }},
    {"zel_loop_add_ubus", [] { return zel_loop_add_ubus(zel_event_ctx); }, make_receiver, drop_receiver},
    {"the service thread's try to come back", bring_back, lose_receiver, drop_receiver},
    {"the service thread's look at a frame", look_at_a_bad_frame},
};

// Once in a process. `works` is what 0 promises.
const struct StartUp {
  const char* name;
  int (*call)();
  bool (*works)();
} kStartUps[] = {
    {"zel_service_init", zel_service_init,
     [] { return zel_cloud_ctx != nullptr && zel_event_ctx != nullptr; }},
    {"zel_service_init_dbg(name)", [] { return zel_service_init_dbg("once"); },
     [] { return zel_cloud_ctx != nullptr; }},
    {"zel_service_init_dbg(null)", [] { return zel_service_init_dbg(nullptr); },
     [] { return zel_event_ctx != nullptr; }},
    {"zel_store_pid", [] { return zel_store_pid("/tmp/pid"); },
     [] { return std::filesystem::file_size("/tmp/pid") > 0; }},
};

std::string describe(const char* call, const Fault& fault, int nth) {
  return std::string(call) + ", kind " + std::to_string(static_cast<int>(fault.kind)) + ", call " +
         std::to_string(nth) + ": " + strerror(fault.error);
}

// What a call may leave behind: attachments and descriptors.
std::vector<long> left_behind() {
  shmid_ds segment{};
  shmctl(perm_common_shm_init(), IPC_STAT, &segment);
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return {static_cast<long>(segment.shm_nattch), std::distance(descriptors, {})};
}

// Waits for ever for a lock that was kept.
bool lock_is_free() {
  int result = -1;
  std::thread([&] { result = zel_lock() + zel_unlock(); }).join();
  return result == 0;
}

int fail_calls(const Call& c, const Fault& fault) {
  const std::vector<long> at_first = left_behind();
  int result = 0;
  c.before();
  const int faults = fail_each(
      fault.kind, fault.error, [&](int) { result = c.call(); },
      [&](int nth) {
        const std::string which = describe(c.name, fault, nth);
        EXPECT_TRUE(result == 0 || result == -1) << result << " from " << which;
        EXPECT_TRUE(lock_is_free()) << which;
        c.after();
        c.before();
        EXPECT_EQ(c.call(), 0) << "after " << which;
        c.after();
        EXPECT_EQ(left_behind(), at_first) << which;
        c.before();
      });
  c.after();
  return faults;
}

enum Outcome { kAsPromised, kNothingFailed, kOtherResult, kPromiseBroken, kNotAgain };

Outcome start_up(const StartUp& c, const Fault& fault, int nth) {
  int result = 0;
  bool failed = false;
  {
    const Failing failing(fault.kind, nth, fault.error);
    result = c.call();
    failed = failing.has_failed();
  }
  if (result != 0 && result != -1) return kOtherResult;
  if (result == 0 && !c.works()) return kPromiseBroken;
  if (!lock_is_free() || c.call() != 0) return kNotAgain;
  return failed ? kAsPromised : kNothingFailed;
}

int fail_start_ups(const StartUp& c, const Fault& fault) {
  for (int nth = 1;; ++nth) {
    const int outcome = run_as(kUser, [&] { return start_up(c, fault, nth); });
    if (outcome == kNothingFailed) return nth - 1;
    EXPECT_EQ(outcome, kAsPromised) << describe(c.name, fault, nth);
    if (outcome != kAsPromised) return nth;
  }
}

}  // namespace

TEST(BusFaults, GiveZeroOrMinusOneAndLeaveNothingBehind) {
  const Process server(10001, [](const Process::Self& self) {
    if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) return 1;
    self.ready();
    self.wait_for_end();
    return 0;
  });
  for (const char* folder : {"/tmp/parent", "/tmp/parent/app", "/tmp/parent/.pluginInfo-1"})
    mkdir(folder, 0755);
  ASSERT_EQ(chdir("/tmp/parent/app"), 0);
  ASSERT_EQ(setuid(kUser), 0);
  int faults = 0;
  captured(stderr, [&] {
    zel::zel_loop_init();
    for (const Fault& fault : kFaults) {
      for (const Call& c : kCalls) faults += fail_calls(c, fault);
      for (const StartUp& c : kStartUps) faults += fail_start_ups(c, fault);
    }
  });
  printf("%d faults\n", faults);
}
