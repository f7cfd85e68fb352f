#include "faults/calls.h"

#include <malloc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <syslog.h>
#include <zel/zel.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "base/handles.h"
#include "support/disk.h"
#include "support/http_server.h"
#include "support/pool.h"

using namespace std::chrono_literals;

namespace {

constexpr const char* kUrl = "http://127.0.0.1:6800/name";
constexpr const char* kId = "2089b05ecca3d829";
constexpr const char *kFrom = "/tmp/faults/from", *kTo = "/tmp/faults/to", *kFar = "/dev/shm/to",
                     *kLink = "/tmp/link";

char text[ZEL_HTTP_RESULT_SIZE];
char* made[2];
int number;
int64_t sizes[2];
perm_table* table;  // stays attached
perm_table copy;

// Of calls that make texts: which are given back.
int give_back(int result) {
  for (char*& each : made) free(std::exchange(each, nullptr));
  return result;
}
int give_back(char* result) {
  free(result);
  return result != nullptr ? 0 : -1;
}

// Of calls that tell more than a result.
int says(const char* expected, int result) {
  return result == 0 && strcmp(text, expected) != 0 ? -9 : result;
}

int in_pool(int (*call)(mem_pool* pool, http_header_elem* list)) {
  const Pool pool(mem_create_pool(80, nullptr, 1));
  http_header_elem* list = nullptr;
  for (const char* name : {"a", "b", "c"})
    if (!pool || http_header_list_add_elem(pool.get(), &list, name, "value") != 0) return -1;
  return call(pool.get(), list);
}

// Outside, that each is made anew: an update that changes nothing writes nothing.
int insert() {
  const perm_plugin_info plugin = {10009, "9", "new", 1};
  return perm_insert(&plugin);
}
int update() {
  static uint32_t bits = 0;
  const perm_plugin_info plugin = {10001, "1001", "everything", ++bits};
  return perm_update(&plugin);
}

int ask_by_hand(int (*receive)(int, void*, int, int)) {
  const zel::Descriptor socket(socket_create(AF_INET, SOCK_STREAM));
  if (const int code = socket_connect(socket.get(), "127.0.0.1", 6800, 5000); code != 0) return code;
  if (socket_send(socket.get(), "GET / HTTP/1.1\r\n\r\n", 18, 0) != 18) return -1;
  const int count = receive(socket.get(), text, 15, 5000);
  text[15] = '\0';
  return count == 15 ? says("HTTP/1.1 200 OK", 0) : count;
}

int upload_file() try {
  const auto uploader = std::make_unique<HttpUploader>(kUrl);
  uploader->source = {1, nullptr, 0, 3, zel::open_file(kFrom, "r").release()};
  return uploader->post(5, 1);
} catch (const std::bad_alloc&) {
  return -1;
}

// Where memory is short the pool never gets the file.
int clean_up(mem_pool_cleanup_handler handler) {
  static char name[] = "/tmp/faults/to";
  const Pool pool(mem_create_pool(80, nullptr, 1));
  zel::Descriptor file = zel::open_at(AT_FDCWD, name, O_CREAT | O_WRONLY, 0644);
  mem_pool_cleanup* const entry =
      pool && file ? mem_pool_cleanup_add(pool.get(), sizeof(mem_pool_cleanup_file_t)) : nullptr;
  if (entry == nullptr) return -1;
  *static_cast<mem_pool_cleanup_file_t*>(entry->data) = {file.release(), name};
  entry->handler = handler;
  return 0;
}

void put_source() {
  std::filesystem::remove_all("/tmp/faults/made");
  for (const char* old : {kTo, kFar}) unlink(old);
  put(kFrom, "old content");
}

// What getFsSize leaves when it may not remove it.
void remove_tables() {
  for (const auto& entry : std::filesystem::directory_iterator("/var"))
    if (entry.path().extension() == ".btmp") unlink(entry.path().c_str());
}

// Slow enough for signals to come meanwhile.
void put_tools() {
  mkdir("/tmp/bin", 0755);
  setenv("PATH", (std::string("/tmp/bin:") + getenv("PATH")).c_str(), 1);
  const std::string slow = "; sleep 0.01; echo ";
  put_script("/usr/local/localshell/norva_daemon_shell", "echo 0a:0b" + slow + "one\n");
  put_script("/tmp/bin/blkid", "printf 6A3C-" + slow + "91F0\n");
  put_script("/tmp/bin/norva_db", "echo head" + slow + "line\n");
  put_script("/tmp/bin/free", "echo head" + slow + "'Mem: 7000 3000'\n");
  put_script("/tmp/bin/mount", "echo none" + slow + "'disk on /tmp/fat type vfat'\n");
  put_script("/tmp/bin/ps", "echo none" + slow + "plug-in\n");
}

}  // namespace

// clang-format off
const std::vector<Calls> kCalls = {
    {"Perm", "", {
        {"perm_get_id", [] { return perm_get_id(text); }, 0, {7003, 7004}},
        {"perm_check", [] { return perm_check(1, "1001"); }, 0, {7003, 7004}},
        {"perm_init", [] { return perm_init(); }, 0, {7002, 7003, 7004, 7006, 7007}},
        {"perm_insert", insert, 0, {7003, 7004, 7014}, [] { perm_delete("9"); }},
        {"perm_delete", [] { return perm_delete("9"); }, 0, {7003, 7004, 7014}, [] { insert(); }},
        {"perm_update", update, 0, {7003, 7004, 7014}},
        {"perm_common_sem_init", [] { return perm_common_sem_init() == table->semid ? 0 : -1; }, 0, {-1}},
        {"perm_common_shm_init", [] { return std::min(perm_common_shm_init(), 0); }, 0, {-1}},
        {"perm_common_write_pluginfo", [] { return perm_common_write_pluginfo(table); }, 0, {7008, 7013}},
        {"perm_common_write_permissioninfo", perm_common_write_permissioninfo, 0, {7008, 7013}},
        {"perm_common_read_plugin_file", [] { return perm_common_read_plugin_file(&copy); }, 0,
             {7008, 7009, 7010, 7011, 7018}},
        {"perm_common_read_permission_file", [] { return perm_common_read_permission_file(&copy); }, 0,
             {7008, 7009, 7010, 7011}},
        {"perm_common_analyze_permission", [] { return perm_common_analyze_permission(&copy); }, 0, {7012, 7014}},
        {"perm_common_analyze_pluginfo", [] { return perm_common_analyze_pluginfo(&copy); }, 0, {7012}}}},
    {"Router", "", {
        {"zel_get_device_name", [] { return says("Home", zel_get_device_name(text, 33)); }, 0, {-1, -2}},
        {"zel_get_device_id", [] { return zel_get_device_id(text, 64); }, 0, {-1, -2}},
        {"zel_get_wan_speed", [] { zel_wan_speed out; return zel_get_wan_speed(&out); }, 0, {-1, -2}},
        {"zel_get_wan_status", [] { zel_wan_status out; return zel_get_wan_status(&out); }, 0, {-1, -2}},
        {"zel_get_wifi_info", [] { zel_wifi_info out[2]; return zel_get_wifi_info(out, &(number = 2)); }, 0,
             {-1, -2}},
        {"zel_get_partition_info", [] { zel_partition_info out[2] = {};
             const int result = zel_get_partition_info(out, &(number = 2));
             return result == 0 && strcmp(out[0].UUID, "6A3C-91F0") != 0 ? -9 : result; }, 0, {-1, -2, -9}},
        {"zel_get_router_dns", [] { return zel_get_router_dns(text, text + ZEL_DNS_SIZE); }, 0, {-2}},
        {"zel_set_router_dns", [] { return zel_set_router_dns("9.9.9.9", "8.8.8.8"); }, 0, {-2}},
        {"zel_reset_router_dns", [] { return zel_reset_router_dns(); }, 0, {-1, -2}},
        {"zel_get_hw_info_from_fw", [] { return give_back(zel_get_hw_info_from_fw(&made[0], &made[1])); }, 0, {-1}}}},
    {"DownloadTasks", R"([{"result": [{"appid": "1", "gid": "1", "status": "paused", "totalLength": "1",
             "completedLength": "1", "downloadSpeed": "0"}]}, {"result": []}, {"result": []}])", {
        {"zel_download_task_getnum", [] { return zel_download_task_getnum(); }, 1, {-1, 8000}},
        {"zel_download_task_get_list", [] { task_info out; return zel_download_task_get_list(&out, 1); }, 0,
             {-1, 8000}},
        {"zel_download_task_pause", [] { return zel_download_task_pause(kId); }, 0, {-1, 8000}},
        {"zel_download_task_resume", [] { return zel_download_task_resume(kId); }, 0, {-1, 8000}},
        {"zel_download_task_del", [] { return zel_download_task_del(kId); }, 0, {-1, 8000}}}},
    {"DownloadTask", R"([{"result": {"gid": "2089b05ecca3d829", "status": "paused", "totalLength": "1",
             "completedLength": "1", "downloadSpeed": "0"}}])", {
        {"zel_download_task_query", [] { task_info out; return zel_download_task_query(kId, &out); }, 0,
             {-1, 8000}}}},
    {"DownloadCreation", R"({"result": "2089b05ecca3d829"})", {
        {"zel_download_task_create", [] { const task_param task = {kUrl, "/tmp", "name"};
             return says(kId, zel_download_task_create(&task, text)); }, 0, {-1, 8000, 8003, 8004}}}},
    {"Device", "", {
        {"norva_config_get", [] { return says("0a:0b\none", norva_config_get(39, text, 99) == 0 ? 0 : -1); }, 0,
             {-1, -9}},
        {"zel_get_lan_mac", [] { uint8_t mac[6] = {}; zel_get_lan_mac(mac);
             return mac[0] == 0x0A && mac[1] == 0x0B ? 0 : -1; }, 0, {-1}},
        {"zel_get_device_info", [] { zel_device_info out; return zel_get_device_info(&out); }, 0, {-1}},
        {"qo_get_memory_info", [] { return qo_get_memory_info(&number, &number) == 0 ? number : -1; }, 3, {-1, 0}},
        {"GetRamInKB", [] { return std::min(GetRamInKB(), 0); }, 0, {-1}},
        {"zel_detect_proc", [] { return zel_detect_proc("plug-in"); }, 0, {-1}}}},
    {"File", "new content", {
        {"zel_file_copy", [] { return zel_file_copy(kFrom, kTo); }, 0, {-1}, put_source},
        {"zel_file_copy, over a file", [] { return zel_file_copy(kFrom, kTo); }, 0, {-1}, [] { put(kTo, ""); }},
        {"zel_file_copy, of a link", [] { return zel_file_copy(kLink, kTo); }, 0, {-1}, put_source},
        {"zel_file_move", [] { return zel_file_move(kFrom, kTo); }, 0, {-1}, put_source},
        {"zel_file_move, far", [] { return zel_file_move(kFrom, kFar); }, 0, {-1}, put_source},
        {"zel_download_file", [] { return zel_download_file(kUrl, kTo, nullptr, nullptr, 0, 5); }, 0, {-1},
             put_source},
        {"zel_check_file_md5", [] { return zel_check_file_md5(kFrom, text); }, 0, {-1}, put_source},
        {"zel_check_file_md5_with_md5_file", [] { return zel_check_file_md5_with_md5_file(kFrom, kFrom); }, -1, {}},
        {"zel_save_file", [] { return zel_save_file(kFrom, "abc", 3); }, 0, {-1}},
        {"zel_save_string_to_file", [] { return zel_save_string_to_file("abc", kTo); }, 0, {-1}},
        {"zel_get_buf_from_file", [] { return give_back(zel_get_buf_from_file(kFrom)); }, 0, {-1}},
        {"zel_dirname", [] { return give_back(zel_dirname("name")); }, 0, {-1}},
        {"xreadlink", [] { return give_back(xreadlink(kLink)); }, 0, {-1}},
        {"isAbsFileExist", [] { return isAbsFileExist(kFrom); }, 1, {0}},
        {"qo_checkDir", [] { return qo_checkDir("/tmp"); }, 1, {0}},
        {"qo_checkDir_readonly", [] { return qo_checkDir_readonly("/tmp"); }, 0, {1}},
        {"qo_mkdirp", [] { return qo_mkdirp("/tmp/faults/made/deep", 0755); }, 1, {0}, put_source},
        {"is_type_fat", [] { return is_type_fat("/tmp/fat"); }, 1, {0}},
        {"get_df_info", [] { return says("line\n", get_df_info("/tmp", text)); }, 0, {-1}},
        {"getFsSize", [] { return getFsSize("/tmp", &sizes[0], &sizes[1]); }, 0, {-1}, remove_tables}}},
    {"Http", "answer", {
        {"HttpGet", [] { return says("answer", HttpGet(text, kUrl, 5, 1)); }, 0, {-1}},
        {"HttpPostBuffer", [] { return says("answer", HttpPostBuffer(text, kUrl, "abc", 3, 5, 1)); }, 0, {-1}},
        {"HttpsPostBuffer", [] { return says("answer", HttpsPostBuffer(text, kUrl, "abc", 3, 5, 1)); }, 0, {-1}},
        {"HttpUploader, a file", upload_file, 0, {-1}, put_source},
        {"http_header_list_add_elem", [] { return in_pool([](mem_pool*, http_header_elem*) { return 0; }); }, 0,
             {-1}},
        {"http_encode_post_data", [] { return in_pool([](mem_pool* pool, http_header_elem* list) { char* out;
             return http_encode_post_data(pool, list, &out, &number); }); }, 0, {-1}},
        {"generate_http_request", [] { return in_pool([](mem_pool* pool, http_header_elem* list) { char* out;
             return generate_http_request(pool, "GET", "/", list, list, "body", 4, &out, &number); }); }, 0, {-1}},
        {"resolve_url", [] { return in_pool([](mem_pool* pool, http_header_elem*) { char* out[3];
             return resolve_url(pool, kUrl, &out[0], &out[1], &number, &out[2]); }); }, 0, {-1}},
        {"parse_http_response", [] { return in_pool([](mem_pool* pool, http_header_elem* list) {
             char response[] = "HTTP/1.1 200 OK\r\nA: 1\r\nB: 2\r\n\r\nbody", *version, *body;
             return parse_http_response(pool, response, sizeof response - 1, &number, &version, &list, &body, &number,
                                        1); }); }, 0, {-1}},
        {"http_connect", [] { return in_pool([](mem_pool* pool, http_header_elem*) { char* out = nullptr;
             return http_connect(pool, "127.0.0.1", 6800, "GET / HTTP/1.1\r\n\r\n", 18, &out, &number, 5000); }); },
             0, {-1, -101, -102, -103, EINTR - 200, ENETDOWN - 200, -201, -302, -311}},
        {"socket_recv", [] { return ask_by_hand(socket_recv); }, 0, {-1, -2, -3, -11, EINTR - 100, ENETDOWN - 100}},
        {"socket_recv2", [] { return ask_by_hand(socket_recv2); }, 0, {-1, -2, -3, -11, EINTR - 100, ENETDOWN - 100}},
        {"socket_close", [] { zel::Descriptor socket(socket_create(AF_INET, SOCK_STREAM));
             const int result = socket_close(socket.get()); socket.release(); return result; }, 0, {-1}}}},
    {"Memory", "", {
        {"qo_malloc_encode_string", [] { return give_back(qo_malloc_encode_string("a b")); }, 0, {-1}},
        {"zel_strdup", [] { return give_back(zel_strdup("a b")); }, 0, {-1}},
        {"xrealloc", [] { return give_back(static_cast<char*>(xrealloc(nullptr, 9))); }, 0, {-1}},
        {"zel_sprintf_alloc", [] { return give_back(zel_sprintf_alloc(&made[0], "%d", 12)); }, 2, {-1}},
        {"generate_rand_hex_fill", [] { generate_rand_hex_fill(text, 8); return 0; }, 0, {}},
        {"mem_pcalloc_safe", [] { return in_pool([](mem_pool* pool, http_header_elem*) {
             for (const size_t size : {8, 30, 30, 5000}) if (mem_pcalloc_safe(pool, size) == nullptr) return -1;
             return mem_pmemalign_safe(pool, 99, 64) != nullptr ? 0 : -1; }); }, 0, {-1}},
        {"mem_pool_cleanup_add_safe", [] { return in_pool([](mem_pool* pool, http_header_elem*) {
             return mem_pool_cleanup_add_safe(pool, 5000) != nullptr ? 0 : -1; }); }, 0, {-1}},
        {"mem_pool_cleanup_file", [] { return clean_up(mem_pool_cleanup_file); }, 0, {-1}},
        {"mem_pool_delete_file", [] { return clean_up(mem_pool_delete_file); }, 0, {-1}, put_source}}}};
// clang-format on

LeftBehind left_behind() {
  const auto memory = static_cast<long>(mallinfo2().uordblks);
  shmid_ds segment{};
  shmctl(perm_common_shm_init(), IPC_STAT, &segment);
  const auto entries = [](const char* folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  };
  return {entries("/proc/self/fd"),
          static_cast<long>(segment.shm_nattch),
          semctl(table->semid, 0, GETVAL),
          entries("/etc/norva"),
          entries("/var"),
          memory};
}

EveryCall::EveryCall() {
  table = perm_common_shm_map(perm_common_shm_init());
  zel_log(LOG_ERR, "its buffers are there from the first message on");
  put_tools();
  mkdir("/tmp/faults", 0755);
  EXPECT_TRUE(symlink("to", kLink) == 0 || errno == EEXIST);
  put_source();
  if (*GetParam().answer != '\0') {
    server_ = std::make_unique<Process>(0, [](const Process::Self& self) {
      const test::Server server({{test::answer("200 OK", GetParam().answer), test::End::kClose, 2ms, 9999}},
                                nullptr, "6800");
      self.ready();
      self.wait_for_end();
      return 0;
    });
  }
  for (const Call& row : GetParam().rows) {
    row.prepare();
    EXPECT_EQ(row.call(), row.good) << row.name;
  }
}
