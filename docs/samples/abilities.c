/* Makes each guarded call once, and prints which are refused. With every ability but one, it is those that need it. */
#include <stdio.h>
#include <zel/zel.h>

static int handler(const char* message, uint32_t length, char* answer, uint32_t size) {
  (void)message, (void)length, (void)answer, (void)size;
  return 0;
}
static void callback(int32_t subevent, const char* text) {
  (void)subevent, (void)text;
}

static char text[64];
static task_info task;
static const task_param what = {"http://127.0.0.1:8080/bytes/1", "/tmp", "nothing"};

static int task_create(void) {
  return zel_download_task_create(&what, text);
}
static int task_query(void) {
  return zel_download_task_query("0", &task);
}
static int task_getnum(void) {
  return zel_download_task_getnum();
}
static int task_get_list(void) {
  return zel_download_task_get_list(&task, 1);
}
static int task_pause(void) {
  return zel_download_task_pause("0");
}
static int task_resume(void) {
  return zel_download_task_resume("0");
}
static int task_del(void) {
  return zel_download_task_del("0");
}
static int handler_register(void) {
  return zel_cloud_msg_handler_register(handler);
}
static int cloud_init(void) {
  zel_cloud_msg_release();
  return zel_cloud_msg_init();
}
static int event_send(void) {
  return zel_event_send(ZEL_EVENT_WAN, 256, "");
}
static int event_send_disk(void) {
  return zel_event_send_disk(0, "");
}
static int subscribe(void) {
  return zel_event_subscribe(ZEL_EVENT_WAN, callback);
}
static int unsubscribe(void) {
  return zel_event_unsubscribe(ZEL_EVENT_WAN);
}
static int device_name(void) {
  return zel_get_device_name(text, sizeof text);
}
static int device_id(void) {
  return zel_get_device_id(text, sizeof text);
}
static int wan_speed(void) {
  zel_wan_speed speed;
  return zel_get_wan_speed(&speed);
}
static int wan_status(void) {
  zel_wan_status status;
  return zel_get_wan_status(&status);
}
static int wifi_info(void) {
  zel_wifi_info info;
  int count = 1;
  return zel_get_wifi_info(&info, &count);
}
static int partition_info(void) {
  zel_partition_info info;
  int count = 1;
  return zel_get_partition_info(&info, &count);
}

static const struct {
  const char* name;
  int (*call)(void);
  int refusal;
} kCalls[] = {{"zel_download_task_create", task_create, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_query", task_query, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_getnum", task_getnum, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_get_list", task_get_list, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_pause", task_pause, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_resume", task_resume, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_download_task_del", task_del, ZEL_DOWNLOAD_NOT_PERMITTED},
              {"zel_cloud_msg_handler_register", handler_register, -1},
              {"zel_cloud_msg_init", cloud_init, -1},
              {"zel_event_send", event_send, -1},
              {"zel_event_send_disk", event_send_disk, -1},
              {"zel_event_subscribe", subscribe, -1},
              {"zel_event_unsubscribe", unsubscribe, -1},
              {"zel_get_device_name", device_name, -1},
              {"zel_get_device_id", device_id, -1},
              {"zel_get_wan_speed", wan_speed, -1},
              {"zel_get_wan_status", wan_status, -1},
              {"zel_get_wifi_info", wifi_info, -1},
              {"zel_get_partition_info", partition_info, -1}};

int main(void) {
  size_t i;
  if (zel_service_init() != 0) return 1;
  for (i = 0; i < sizeof kCalls / sizeof *kCalls; ++i)
    if (kCalls[i].call() == kCalls[i].refusal) printf("needs it: %s\n", kCalls[i].name);
  return 0;
}
