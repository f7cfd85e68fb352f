// What each call says of a null pointer, where its header or its family's says what that means. Runs as root of a box.
#include <gtest/gtest.h>
#include <zel/zel.h>

#include <cerrno>

#include "support/captured.h"
#include "support/pool.h"

namespace {

char text[ZEL_HTTP_RESULT_SIZE];
char* out;
int number;
int64_t size;
http_header_elem* list;
mem_pool* pool;
pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
constexpr const char* kUrl = "http://127.0.0.1:1/";

int null(const void* result) {
  return result == nullptr ? 0 : 1;
}

// clang-format off
const struct {
  const char* call;
  int (*make)();
  int result;
} kCases[] = {
    {"zel_cloud_msg_init_dbg", [] { return zel_cloud_msg_init_dbg(nullptr); }, -1},
    {"zel_cloud_msg_handler_register_dbg", [] { return zel_cloud_msg_handler_register_dbg(nullptr); }, -1},
    {"zel_get_hw_info_from_fw, firmware", [] { return zel_get_hw_info_from_fw(nullptr, &out); }, -1},
    {"zel_get_hw_info_from_fw, hardware", [] { return zel_get_hw_info_from_fw(&out, nullptr); }, -1},
    {"zel_get_lan_mac", [] { return zel_get_lan_mac(nullptr); }, 0},
    {"qo_get_memory_info, total", [] { return qo_get_memory_info(nullptr, &number); }, -1},
    {"qo_get_memory_info, used", [] { return qo_get_memory_info(&number, nullptr); }, -1},
    {"zel_file_copy, source", [] { return zel_file_copy(nullptr, "/tmp/null"); }, -1},
    {"zel_file_copy, destination", [] { return zel_file_copy("/etc/passwd", nullptr); }, -1},
    {"zel_file_move, source", [] { return zel_file_move(nullptr, "/tmp/null"); }, -1},
    {"zel_file_move, destination", [] { return zel_file_move("/etc/passwd", nullptr); }, -1},
    {"zel_download_file, url", [] { return zel_download_file(nullptr, "/tmp/null", nullptr, nullptr, 0, 5); }, -1},
    {"zel_download_file, path", [] { return zel_download_file(kUrl, nullptr, nullptr, nullptr, 0, 5); }, -1},
    {"zel_check_file_md5, path", [] { return zel_check_file_md5(nullptr, text); }, -1},
    {"zel_check_file_md5, output", [] { return zel_check_file_md5("/etc/passwd", nullptr); }, -1},
    {"zel_save_file, path", [] { return zel_save_file(nullptr, "a", 1); }, -1},
    {"zel_save_file, bytes", [] { return zel_save_file("/tmp/null", nullptr, 1); }, -1},
    {"zel_save_string_to_file, text", [] { return zel_save_string_to_file(nullptr, "/tmp/null"); }, -1},
    {"zel_save_string_to_file, path", [] { return zel_save_string_to_file("a", nullptr); }, -1},
    {"zel_dirname", [] { return null(zel_dirname(nullptr)); }, 0},
    {"xreadlink", [] { return null(xreadlink(nullptr)); }, 0},
    {"isFileExist, directory", [] { return isFileExist(nullptr, "a"); }, 0},
    {"isFileExist, name", [] { return isFileExist(text, nullptr); }, 0},
    {"remove_slash", [] { return remove_slash(nullptr), 0; }, 0},
    {"qo_abspath_generate, output", [] { return qo_abspath_generate(nullptr, 9, "a", "b"); }, 0},
    {"qo_abspath_generate, directory", [] { return qo_abspath_generate(text, 9, nullptr, "b"); }, 0},
    {"qo_abspath_generate, file", [] { return qo_abspath_generate(text, 9, "a", nullptr); }, 0},
    {"get_df_info, path", [] { return get_df_info(nullptr, text); }, -1},
    {"get_df_info, buffer", [] { return get_df_info("/tmp", nullptr); }, -1},
    {"getFsSize, path", [] { return getFsSize(nullptr, &size, &size); }, -1},
    {"getFsSize, used", [] { return getFsSize("/tmp", nullptr, &size); }, -1},
    {"getFsSize, total", [] { return getFsSize("/tmp", &size, nullptr); }, -1},
    {"http_header_list_add_elem, pool", [] { return http_header_list_add_elem(nullptr, &list, "a", "b"); }, -1},
    {"http_header_list_add_elem, list", [] { return http_header_list_add_elem(pool, nullptr, "a", "b"); }, -1},
    {"http_header_list_add_elem, name", [] { return http_header_list_add_elem(pool, &list, nullptr, "b"); }, -1},
    {"http_header_list_del_elem, pool", [] { return http_header_list_del_elem(nullptr, &list, "a"); }, -1},
    {"http_header_list_del_elem, list", [] { return http_header_list_del_elem(pool, nullptr, "a"); }, -1},
    {"http_header_list_del_elem, name", [] { return http_header_list_del_elem(pool, &list, nullptr); }, -1},
    {"http_encode_post_data, pool", [] { return http_encode_post_data(nullptr, list, &out, &number); }, -1},
    {"http_encode_post_data, text", [] { return http_encode_post_data(pool, list, nullptr, &number); }, -1},
    {"http_encode_post_data, length", [] { return http_encode_post_data(pool, list, &out, nullptr); }, 0},
    {"generate_http_request, pool", [] { return generate_http_request(nullptr, "GET", "/", list, list, "b", 1, &out,
         &number); }, -1},
    {"generate_http_request, method", [] { return generate_http_request(pool, nullptr, "/", list, list, "b", 1, &out,
         &number); }, -1},
    {"generate_http_request, path", [] { return generate_http_request(pool, "GET", nullptr, list, list, "b", 1, &out,
         &number); }, -1},
    {"generate_http_request, request", [] { return generate_http_request(pool, "GET", "/", list, list, "b", 1,
         nullptr, &number); }, -1},
    {"generate_http_request, its length", [] { return generate_http_request(pool, "GET", "/", list, list, "b", 1,
         &out, nullptr); }, -1},
    {"parse_http_response, response", [] { return parse_http_response(pool, nullptr, 9, &number, &out, &list, &out,
         &number, 0); }, -1},
    {"parse_http_response, status", [] { return parse_http_response(pool, text, 9, nullptr, &out, &list, &out,
         &number, 0); }, -1},
    {"resolve_url, pool", [] { return resolve_url(nullptr, kUrl, &out, &out, &number, &out); }, -1},
    {"resolve_url, url", [] { return resolve_url(pool, nullptr, &out, &out, &number, &out); }, -1},
    {"resolve_url, ip", [] { return resolve_url(pool, kUrl, &out, nullptr, &number, &out); }, 0},
    {"resolve_url, port", [] { return resolve_url(pool, kUrl, &out, &out, nullptr, &out); }, 0},
    {"http_connect, pool", [] { return http_connect(nullptr, "127.0.0.1", 1, "a", 1, &out, &number, 5); }, -1},
    {"http_connect, ip", [] { return http_connect(pool, nullptr, 1, "a", 1, &out, &number, 5); }, -1},
    {"http_connect, request", [] { return http_connect(pool, "127.0.0.1", 1, nullptr, 1, &out, &number, 5); }, -1},
    {"http_connect, response", [] { return http_connect(pool, "127.0.0.1", 1, "a", 1, nullptr, &number, 5); }, -1},
    {"http_connect, its length", [] { return http_connect(pool, "127.0.0.1", 1, "a", 1, &out, nullptr, 5); }, -1},
    {"socket_connect", [] { return socket_connect(0, nullptr, 1, 5); }, -1},
    {"mem_pool_cleanup_file", [] { return mem_pool_cleanup_file(nullptr); }, -1},
    {"mem_pool_delete_file", [] { return mem_pool_delete_file(nullptr); }, -1},
    {"vendor_get_device_name", [] { return vendor_get_device_name(nullptr, 9); }, -1},
    {"vendor_get_device_id", [] { return vendor_get_device_id(nullptr, 9); }, -1},
    {"vendor_get_wan_speed", [] { return vendor_get_wan_speed(nullptr); }, -1},
    {"vendor_get_wan_status", [] { return vendor_get_wan_status(nullptr); }, -1},
    {"vendor_get_wifi_info, networks", [] { return vendor_get_wifi_info(nullptr, &(number = 1)); }, -1},
    {"vendor_get_wifi_info, count", [] { zel_wifi_info one; return vendor_get_wifi_info(&one, nullptr); }, -1},
    {"vendor_get_partition_info, partitions", [] { return vendor_get_partition_info(nullptr, &(number = 1)); }, -1},
    {"vendor_get_partition_info, count",
         [] { zel_partition_info one; return vendor_get_partition_info(&one, nullptr); }, -1},
    {"vendor_get_router_dns", [] { return vendor_get_router_dns(nullptr, text); }, -2},
    {"vendor_set_router_dns", [] { return vendor_set_router_dns(nullptr, "9.9.9.9"); }, -2},
    {"vendor_set_router_dns, second", [] { return vendor_set_router_dns("9.9.9.9", nullptr); }, -2},
    {"zel_strdup", [] { return null(zel_strdup(nullptr)); }, 0},
    {"zel_sprintf_alloc", [] { return zel_sprintf_alloc(nullptr, "a"); }, -1},
    {"qo_stristr, needle", [] { return null(qo_stristr("a", nullptr)); }, 0},
    {"unescape_uri, source", [] { return unescape_uri(&out, nullptr, 9, 0), 0; }, 0},
    {"generate_rand_hex_fill", [] { return generate_rand_hex_fill(nullptr, 9), 0; }, 0},
    {"qo_stristr", [] { return null(qo_stristr(nullptr, "a")); }, 0},
    {"unescape_uri", [] { return unescape_uri(nullptr, &out, 9, 0), 0; }, 0},
    {"qo_wait_signal, condition", [] { return qo_wait_signal(nullptr, &mutex, 1); }, EINVAL},
    {"qo_wait_signal, mutex", [] { return qo_wait_signal(&condition, nullptr, 1); }, EINVAL},
};
// clang-format on

TEST(NullPointers, HaveTheResultThatTheHeadersName) {
  const Pool owner(mem_create_pool(4096, nullptr, 0));
  pool = owner.get();
  ASSERT_EQ(http_header_list_add_elem(pool, &list, "name", "value"), 0);
  for (const auto& c : kCases) {
    puts(c.call);  // For one that crashes.
    int result = 0;
    captured(stdout, [&] { captured(stderr, [&] { result = c.make(); }); });
    EXPECT_EQ(result, c.result) << c.call;
  }
}

}  // namespace
