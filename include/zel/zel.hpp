/* zel.hpp: the calls that most plug-ins make, for C++17 and later; all of it inline, over the C headers.
 *
 *     #include <zel/zel.hpp>
 *
 *     int main() {
 *       int asked = 0;
 *       const auto answer = [&asked](std::string_view message) { return "message " + std::to_string(++asked); };
 *       const auto served = zel::service::start().and_then([&] { return zel::cloud::serve(answer); });
 *       if (!served) return std::fprintf(stderr, "%s\n", served.error().text().c_str()), 1;
 *       for (;;) pause();
 *     }
 *
 * What each call does, waits for and needs stands with the C call of its comment; here is what is different:
 *  1. Texts go in as std::string_view (what follows a NUL in it is cut off, as C does) and come out as std::string or
 *     zel::text. Bytes go in as std::string_view too, in C++20 also as std::span<const std::byte>.
 *  2. A call that may fail gives zel::result<T>: T, or a zel::error with the C call's name and code.
 *  3. Handlers are any callables: they may hold state, also what cannot be copied. They run on the service thread with
 *     the global lock held, and are kept until another takes their place (which a handler itself may do); at the
 *     process's end they are not destroyed, as the service thread may still run them. A std::exception that leaves
 *     one is logged at level 3; anything else that is thrown ends the process.
 *  4. Nothing here throws; what the standard library throws when memory is short goes to the caller. Compiles with
 *     -fno-exceptions and -fno-rtti. No name is exported from a plug-in that is a shared object.
 *  5. Any thread may call; a zel::pool is for one thread at a time. */
#ifndef ZEL_ZEL_HPP
#define ZEL_ZEL_HPP

#include <zel/zel.h>

#include <cstddef>
#include <cstring>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>
#if defined(__has_include) && __cplusplus >= 202002L
#if __has_include(<span>)
#include <span>
#endif
#endif

#if defined(__GNUC__)
#pragma GCC visibility push(hidden)
#endif

namespace zel {

/* ---- Results ------------------------------------------------------------------------------------------------- */

/* Why a call failed. */
class error {
 public:
  constexpr error(const char* call, int code) noexcept : call_(call), code_(code) {}

  /* The C call's name, and what it returned. A call without a code of its own has -1. */
  constexpr const char* call() const noexcept { return call_; }
  constexpr int code() const noexcept { return code_; }

  /* What the headers say of a code of the 7000 and 8000 ranges; of others that the call failed. */
  constexpr const char* message() const noexcept;

  /* "zel_download_task_create: the caller's appid is unknown, or lacks ability 1 (8000)" */
  std::string text() const {
    return std::string(call_) + ": " + message() + " (" + std::to_string(code_) + ")";
  }

 private:
  const char* call_;
  int code_;
};

/* A value, or an error. Looking at one that is not there is undefined. */
template <class T>
class [[nodiscard]] result {
 public:
  result(T value) : value_(std::move(value)) {}
  result(zel::error why) noexcept : error_(why) {}

  bool has_value() const noexcept { return value_.has_value(); }
  explicit operator bool() const noexcept { return has_value(); }
  T& operator*() & noexcept { return *value_; }
  const T& operator*() const& noexcept { return *value_; }
  T&& operator*() && noexcept { return *std::move(value_); }
  T* operator->() noexcept { return &*value_; }
  const T* operator->() const noexcept { return &*value_; }
  const zel::error& error() const noexcept { return error_; }

  template <class Other>
  T value_or(Other&& other) const& {
    return has_value() ? **this : static_cast<T>(std::forward<Other>(other));
  }

  /* What `next` gives for the value, a result too; the same error if there is none. */
  template <class Next>
  auto and_then(Next next) && -> decltype(next(std::declval<T>())) {
    if (!has_value()) return error_;
    return next(*std::move(value_));
  }

 private:
  std::optional<T> value_;
  zel::error error_{"", 0};
};

template <>
class [[nodiscard]] result<void> {
 public:
  result() noexcept = default;
  result(zel::error why) noexcept : error_(why) {}

  /* Of a call that says 0 for success. */
  static result of(const char* call, int code) noexcept {
    return code == 0 ? result() : result(zel::error(call, code));
  }

  bool has_value() const noexcept { return error_.code() == 0; }
  explicit operator bool() const noexcept { return has_value(); }
  const zel::error& error() const noexcept { return error_; }

  template <class Next>
  auto and_then(Next next) && -> decltype(next()) {
    if (!has_value()) return error_;
    return next();
  }

 private:
  zel::error error_{"", 0};
};

constexpr const char* error::message() const noexcept {
  constexpr struct {
    int code;
    const char* message;
  } rows[] = {
      {PERM_BAD_ARGUMENT, "an argument is null, out of range or no appid"},
      {PERM_NO_SEMAPHORE, "the table's semaphore could not be created or initialised"},
      {PERM_NO_SEGMENT, "the table's shared segment could not be obtained"},
      {PERM_NOT_ATTACHED, "the table's shared segment could not be attached"},
      {PERM_PERMISSIONS, "the permission file could not be produced or read"},
      {PERM_PACKAGES, "the package file could not be read"},
      {PERM_NOT_OPENED, "a file could not be opened"},
      {PERM_NO_MEMORY, "out of memory while reading a file"},
      {PERM_SHORT_READ, "a file read came up short"},
      {PERM_NOT_JSON, "a file is not JSON"},
      {PERM_REJECTED, "a file's content was rejected"},
      {PERM_NO_JSON, "JSON could not be built or written"},
      {PERM_NOT_WRITTEN, "a file could not be written"},
      {PERM_UNKNOWN_APP, "the appid, or the caller's user id, is not in the table"},
      {PERM_NOT_GRANTED, "the ability is not granted to this appid"},
      {PERM_NO_PACKAGES, "the package file does not exist"},
      {PERM_NOT_RESERVED, "the reserved plug-ins could not be set up"},
      {PERM_ALREADY_THERE, "the appid is in the table already"},
      {PERM_MALFORMED, "JSON of another shape than the file's format"},
      {ZEL_DOWNLOAD_NOT_PERMITTED, "the caller's appid is unknown, or lacks ability 1"},
      {ZEL_DOWNLOAD_NO_FILENAME, "no file name was given"},
      {ZEL_DOWNLOAD_NO_URL, "no URL was given"},
      {ZEL_DOWNLOAD_NO_DIR, "the folder does not exist, or is none"},
      {ZEL_DOWNLOAD_DIR_NOT_WRITABLE, "the caller's user may not write to the folder"},
      {ZEL_DOWNLOAD_NO_PARAM, "nothing to download was given"},
      {ZEL_DOWNLOAD_NO_OUTPUT, "no place for the result was given"},
      {ZEL_DOWNLOAD_NO_ROOM, "no room for tasks was given"},
      {ZEL_DOWNLOAD_NO_TASK_ID, "no task id was given"},
  };
  for (const auto& row : rows)
    if (row.code == code_) return row.message;
  return "failed";
}

/* ---- Owners -------------------------------------------------------------------------------------------------- */

/* Text that the library has allocated; it is freed with this. */
class text {
 public:
  explicit text(char* owned) noexcept : owned_(owned) {}
  std::string_view view() const noexcept {
    return owned_ ? std::string_view(owned_.get()) : std::string_view();
  }
  operator std::string_view() const noexcept { return view(); }
  const char* c_str() const noexcept { return owned_ ? owned_.get() : ""; }
  char* release() noexcept { return owned_.release(); } /* from now on the caller's, for zel_free */

 private:
  struct free {
    void operator()(char* owned) const noexcept { zel_free(owned); }
  };
  std::unique_ptr<char, free> owned_;
};

/* A memory pool (mem_create_pool), destroyed with this. One thread at a time. What it hands out lives until then, or
 * until a reset; destructors of what is built there are the caller's business. */
class pool {
 public:
  static result<pool> make(std::size_t block_bytes = 4096) {
    mem_pool* const made = mem_create_pool(block_bytes, nullptr, 0);
    if (made == nullptr) return zel::error("mem_create_pool", -1);
    return pool(made);
  }

  /* `bytes` bytes, not cleared, for any type; null when memory is short. */
  void* allocate(std::size_t bytes) noexcept { return mem_palloc(owned_.get(), bytes); }

  /* A copy of the text in the pool, with a NUL behind it; without data when memory is short. */
  std::string_view copy(std::string_view of) noexcept {
    auto* const place = static_cast<char*>(mem_pnalloc(owned_.get(), of.size() + 1));
    if (place == nullptr) return {};
    if (!of.empty()) std::memcpy(place, of.data(), of.size());
    place[of.size()] = '\0';
    return {place, of.size()};
  }

  void reset() noexcept { mem_reset_pool(owned_.get()); }
  mem_pool* get() const noexcept { return owned_.get(); }

 private:
  struct destroy {
    void operator()(mem_pool* owned) const noexcept { mem_destroy_pool(owned); }
  };
  explicit pool(mem_pool* owned) noexcept : owned_(owned) {}
  std::unique_ptr<mem_pool, destroy> owned_;
};

/* The global lock, for std::lock_guard: `zel::global_lock lock; std::lock_guard<zel::global_lock> held(lock);` */
struct global_lock {
  void lock() noexcept { zel_lock(); }
  void unlock() noexcept { zel_unlock(); }
};

/* ---- What the calls below share; no business of plug-ins ----------------------------------------------------- */

namespace detail {

/* A callable of any type. Copies of this share its state, so that one which runs outlives its replacement. */
template <class Result, class... Arguments>
class callable {
 public:
  callable() noexcept = default;
  template <class Function, class = std::enable_if_t<!std::is_same_v<std::decay_t<Function>, callable>>>
  explicit callable(Function&& function)
      : state_(std::make_shared<std::decay_t<Function>>(std::forward<Function>(function))),
        call_([](void* state, Arguments... arguments) {
          return static_cast<Result>((*static_cast<std::decay_t<Function>*>(state))(arguments...));
        }) {}
  explicit operator bool() const noexcept { return call_ != nullptr; }
  Result operator()(Arguments... arguments) const { return call_(state_.get(), arguments...); }

 private:
  std::shared_ptr<void> state_;
  Result (*call_)(void*, Arguments...) = nullptr;
};

/* Where the process's handlers of a kind are: never destroyed, guarded by the global lock. */
template <class Handler, std::size_t Count>
Handler* slots() {
  static Handler* const kept = new Handler[Count];
  return kept;
}

/* Puts a handler into its slot while `registers` makes it known to the library; on failure the old one stays. */
template <class Slot, class Register>
int replace(Slot& place, Slot handler, Register registers) {
  zel_lock();
  std::swap(place, handler);
  const int code = registers();
  if (code != 0) std::swap(place, handler);
  zel_unlock();
  return code;
}

/* Calls a handler for the service thread, which no exception may reach. */
template <class Body>
int guarded(const char* what, int on_failure, Body body) noexcept {
#if defined(__cpp_exceptions)
  try {
    return body();
  } catch (const std::exception& thrown) {
    zel_log(3, "%s: the handler threw: %s", what, thrown.what());
    return on_failure;
  }
#else
  static_cast<void>(what);
  static_cast<void>(on_failure);
  return body();
#endif
}

/* Calls that fill a buffer of `Bytes` and need not end the text. */
template <int Bytes>
result<std::string> filled(const char* name, int (*call)(char*, int)) {
  char buffer[Bytes + 1] = {};
  const int code = call(buffer, Bytes);
  if (code != 0) return zel::error(name, code);
  return std::string(buffer);
}

/* Calls that fill an array and return how many records found no room. The router's error codes are positive, too:
 * then the records stay as they were. */
template <class Record>
result<std::vector<Record>> listed(const char* name, int (*call)(Record*, int*)) {
  std::vector<Record> records;
  for (int room = 16;; room *= 4) {
    records.assign(static_cast<std::size_t>(room), Record{});
    int count = room;
    const int code = call(records.data(), &count);
    const Record untouched{};
    const bool failed =
        code < 0 || (code > 0 && std::memcmp(&records.front(), &untouched, sizeof untouched) == 0);
    if (failed) return zel::error(name, code);
    if (code > 0) continue;
    records.resize(static_cast<std::size_t>(count));
    return records;
  }
}

#if defined(__cpp_lib_span)
inline std::string_view view_of(std::span<const std::byte> bytes) noexcept {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}
#endif

}  // namespace detail

/* ---- Who the plug-in is -------------------------------------------------------------------------------------- */

namespace perm {

/* perm_get_id: the caller's appid. */
inline result<std::string> appid() {
  char id[PERM_APPID_SIZE] = {};
  const int code = perm_get_id(id);
  if (code != 0) return zel::error("perm_get_id", code);
  return std::string(id);
}

/* perm_check: whether the appid holds the ability; one that does not gives PERM_NOT_GRANTED. */
inline result<void> check(perm_ability ability, std::string_view appid) {
  return result<void>::of("perm_check", perm_check(ability, std::string(appid).c_str()));
}

}  // namespace perm

/* ---- Start-up ------------------------------------------------------------------------------------------------ */

namespace service {

/* zel_service_init: early, once. */
inline result<void> start() {
  return result<void>::of("zel_service_init", zel_service_init());
}

}  // namespace service

/* ---- Cloud messages ------------------------------------------------------------------------------------------ */

namespace cloud {

/* What a handler gives: a text, of which 4095 bytes reach the sender, and the call's status on the bus: 0, or a
 * positive number. A text alone is an answer of status 0. */
struct answer {
  template <class Text, class = std::enable_if_t<std::is_convertible_v<Text, std::string>>>
  answer(Text&& of, int call_status = 0) : text(std::forward<Text>(of)), status(call_status) {}
  std::string text;
  int status;
};

using handler = detail::callable<answer, std::string_view>;

/* zel_cloud_msg_handler_register, for a handler that is called as `answer(std::string_view message)` or gives what
 * an answer is made of. Status 1 and an empty text for a message whose handler threw. */
template <class Function>
result<void> serve(Function&& function) {
  constexpr zel_cloud_msg_handler relay = [](const char* message, uint32_t length, char* reply,
                                             uint32_t size) {
    return detail::guarded("cloud message", 1, [&] {
      const handler kept = *detail::slots<handler, 1>();
      const answer given = kept(std::string_view(message, length));
      const std::size_t bytes = given.text.size() < size ? given.text.size() : size - 1;
      std::memcpy(reply, given.text.data(), bytes);
      return given.status;
    });
  };
  const int code = detail::replace(*detail::slots<handler, 1>(), handler(std::forward<Function>(function)),
                                   [] { return zel_cloud_msg_handler_register(relay); });
  return result<void>::of("zel_cloud_msg_handler_register", code);
}

/* zel_cloud_msg_send: the answer of plug-in `target` to the message. */
inline result<text> send(std::string_view target, std::string_view message) {
  text answered(zel_cloud_msg_send(std::string(target).c_str(), std::string(message).c_str()));
  if (answered.view().data() == nullptr) return zel::error("zel_cloud_msg_send", -1);
  return answered;
}

}  // namespace cloud

/* ---- Router events ------------------------------------------------------------------------------------------- */

namespace event {

using handler = detail::callable<void, int32_t, std::string_view>;

/* What the library calls for an event: the handler in its slot. */
template <zel_event Event>
void relay(int32_t subevent, const char* data) noexcept {
  detail::guarded("router event", 0, [&] {
    const handler kept = detail::slots<handler, ZEL_EVENT_COUNT>()[Event];
    kept(subevent, data != nullptr ? std::string_view(data) : std::string_view());
    return 0;
  });
}

/* zel_event_subscribe, for a handler that is called as `(int32_t subevent, std::string_view data)`; no text is an
 * empty one. Each event has one handler. */
template <class Function>
result<void> subscribe(zel_event event, Function&& function) {
  static constexpr zel_event_callback relays[] = {relay<ZEL_EVENT_DISK>, relay<ZEL_EVENT_WAN>,
                                                  relay<ZEL_EVENT_HOME>};
  static_assert(sizeof relays / sizeof *relays == ZEL_EVENT_COUNT, "an event without a relay");
  if (static_cast<unsigned>(event) >= ZEL_EVENT_COUNT) return zel::error("zel_event_subscribe", -1);
  const int code = detail::replace(detail::slots<handler, ZEL_EVENT_COUNT>()[event],
                                   handler(std::forward<Function>(function)),
                                   [event] { return zel_event_subscribe(event, relays[event]); });
  return result<void>::of("zel_event_subscribe", code);
}

/* zel_event_unsubscribe. */
inline result<void> unsubscribe(zel_event event) {
  return result<void>::of("zel_event_unsubscribe", zel_event_unsubscribe(event));
}

/* zel_event_send. */
inline result<void> send(zel_event event, uint32_t subevent, std::string_view data = {}) {
  return result<void>::of("zel_event_send", zel_event_send(event, subevent, std::string(data).c_str()));
}

}  // namespace event

/* ---- The router ---------------------------------------------------------------------------------------------- */

namespace router {

/* zel_get_device_name, zel_get_device_id; of an id of more than 128 bytes the first ones. */
inline result<std::string> device_name() {
  return detail::filled<128>("zel_get_device_name", zel_get_device_name);
}
inline result<std::string> device_id() {
  return detail::filled<128>("zel_get_device_id", zel_get_device_id);
}

/* zel_get_wan_speed, zel_get_wan_status. */
inline result<zel_wan_speed> wan_speed() {
  zel_wan_speed speed{};
  const int code = zel_get_wan_speed(&speed);
  if (code != 0) return zel::error("zel_get_wan_speed", code);
  return speed;
}
inline result<zel_wan_status> wan_status() {
  zel_wan_status status{};
  const int code = zel_get_wan_status(&status);
  if (code != 0) return zel::error("zel_get_wan_status", code);
  return status;
}

/* zel_get_wifi_info, zel_get_partition_info: all of them; asked again where there are more than 16. */
inline result<std::vector<zel_wifi_info>> wifi_networks() {
  return detail::listed("zel_get_wifi_info", zel_get_wifi_info);
}
inline result<std::vector<zel_partition_info>> partitions() {
  return detail::listed("zel_get_partition_info", zel_get_partition_info);
}

struct dns_servers {
  std::string first, second;
};

/* zel_get_router_dns, zel_set_router_dns, zel_reset_router_dns. */
inline result<dns_servers> dns() {
  char first[ZEL_DNS_SIZE] = {}, second[ZEL_DNS_SIZE] = {};
  const int code = zel_get_router_dns(first, second);
  if (code != 0) return zel::error("zel_get_router_dns", code);
  return dns_servers{first, second};
}
inline result<void> set_dns(std::string_view first, std::string_view second) {
  return result<void>::of("zel_set_router_dns",
                          zel_set_router_dns(std::string(first).c_str(), std::string(second).c_str()));
}
inline result<void> reset_dns() {
  return result<void>::of("zel_reset_router_dns", zel_reset_router_dns());
}

}  // namespace router

/* ---- Download tasks ------------------------------------------------------------------------------------------ */

namespace download {

/* zel_download_task_create: the new task's id. */
inline result<std::string> create(std::string_view url, std::string_view dir, std::string_view filename) {
  const std::string texts[] = {std::string(url), std::string(dir), std::string(filename)};
  const task_param what = {texts[0].c_str(), texts[1].c_str(), texts[2].c_str()};
  char id[ZEL_TASK_ID_SIZE] = {};
  const int code = zel_download_task_create(&what, id);
  if (code != 0) return zel::error("zel_download_task_create", code);
  return std::string(id);
}

/* zel_download_task_query. */
inline result<task_info> query(std::string_view id) {
  task_info task{};
  const int code = zel_download_task_query(std::string(id).c_str(), &task);
  if (code != 0) return zel::error("zel_download_task_query", code);
  return task;
}

/* zel_download_task_get_list: at most `most` of them, 1 or more. */
inline result<std::vector<task_info>> list(int most = 100) {
  std::vector<task_info> tasks(static_cast<std::size_t>(most > 0 ? most : 0));
  const int code = zel_download_task_get_list(tasks.data(), most);
  if (code != 0) return zel::error("zel_download_task_get_list", code);
  std::size_t count = 0;
  while (count < tasks.size() && tasks[count].task_id[0] != '\0') ++count;
  tasks.resize(count);
  return tasks;
}

/* zel_download_task_pause, zel_download_task_resume, zel_download_task_del. */
inline result<void> pause(std::string_view id) {
  return result<void>::of("zel_download_task_pause", zel_download_task_pause(std::string(id).c_str()));
}
inline result<void> resume(std::string_view id) {
  return result<void>::of("zel_download_task_resume", zel_download_task_resume(std::string(id).c_str()));
}
inline result<void> remove(std::string_view id) {
  return result<void>::of("zel_download_task_del", zel_download_task_del(std::string(id).c_str()));
}

}  // namespace download

/* ---- HTTP ---------------------------------------------------------------------------------------------------- */

namespace http {

/* HttpGet: the body, cut to 9,999 characters. Limits in seconds for each attempt, and attempts. */
inline result<std::string> get(std::string_view url, int timeout_seconds = 10, int attempts = 1) {
  std::string body(ZEL_HTTP_RESULT_SIZE, '\0');
  if (HttpGet(&body[0], std::string(url).c_str(), timeout_seconds, attempts) != 0)
    return zel::error("HttpGet", -1);
  body.resize(std::strlen(body.c_str()));
  return body;
}

/* HttpPostBuffer: the answer's body to a POST of `bytes`. */
inline result<std::string> post(std::string_view url, std::string_view bytes, int timeout_seconds = 10,
                                int attempts = 1) {
  std::string body(ZEL_HTTP_RESULT_SIZE, '\0');
  if (HttpPostBuffer(&body[0], std::string(url).c_str(), bytes.data(), static_cast<uint32_t>(bytes.size()),
                     timeout_seconds, attempts) != 0)
    return zel::error("HttpPostBuffer", -1);
  body.resize(std::strlen(body.c_str()));
  return body;
}
#if defined(__cpp_lib_span)
inline result<std::string> post(std::string_view url, std::span<const std::byte> bytes,
                                int timeout_seconds = 10, int attempts = 1) {
  return post(url, detail::view_of(bytes), timeout_seconds, attempts);
}
#endif

}  // namespace http

/* ---- Helpers ------------------------------------------------------------------------------------------------- */

/* md5_string: 32 lower-case hexadecimal digits. */
inline std::string md5(std::string_view bytes) {
  char digits[33];
  return md5_string(bytes.data(), static_cast<int>(bytes.size()), digits);
}
#if defined(__cpp_lib_span)
inline std::string md5(std::span<const std::byte> bytes) {
  return md5(detail::view_of(bytes));
}
#endif

}  // namespace zel

#if defined(__GNUC__)
#pragma GCC visibility pop
#endif

#endif
