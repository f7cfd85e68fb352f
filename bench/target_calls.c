/* What calls cost on the router, counted in instructions: scripts/figures runs this under emulation and counts what is
 * run between two calls of mark(). First printed are mark()'s address and the names, in order. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <zel/zel.h>

enum { kBytes = 1024 };

static char bytes[kBytes];
static char text[kBytes * 4];
static char room[kBytes * 4];

static void encode(void) {
  int count = 0;
  encode_base64(bytes, kBytes, text, &count);
}

static void decode(void) {
  int count = 0;
  decode_base64(text, (int)strlen(text), room, &count);
}

static void escape(void) {
  escape_uri(room, bytes, kBytes, QO_ESCAPE_ARGS);
}

static void pool(void) {
  mem_pool* const requests = mem_create_pool(4096, NULL, 0);
  for (int i = 0; i < 50; ++i) mem_palloc(requests, 24);
  mem_destroy_pool(requests);
}

static void ask_permission(void) {
  perm_check(ability_wan, "3006");
}

static void query(void) {
  zel_wan_status status;
  zel_get_wan_status(&status);
}

static void send_message(void) {
  free(zel_cloud_msg_send("3001", "a message of thirty-two letters."));
}

static void send_event(void) {
  zel_event_send(ZEL_EVENT_DISK, 0, "sda1");
}

static const struct {
  const char* name;
  void (*call)(void);
} kCalls[] = {
    {"encode_base64, 1 KB", encode},
    {"decode_base64, 1 KB", decode},
    {"escape_uri, 1 KB, binary", escape},
    {"pool: created, 50 small requests, destroyed", pool},
    {"perm_check", ask_permission},
    {"zel_get_wan_status", query},
    {"zel_cloud_msg_send, 32 bytes", send_message},
    {"zel_event_send, 4 bytes", send_event},
};
enum { kCallCount = sizeof kCalls / sizeof kCalls[0] };

__attribute__((noinline)) void mark(void) {
  __asm__ volatile("" ::: "memory");
}

int main(void) {
  zel_debug = 0;
  for (int i = 0; i < kBytes; ++i) bytes[i] = (char)(i * 37);
  printf("mark %lx\n", (unsigned long)mark);
  for (int i = 0; i < kCallCount; ++i) printf("call %s\n", kCalls[i].name);
  fflush(stdout);
  for (int i = 0; i < kCallCount; ++i) {
    kCalls[i].call(); /* binds names and fills caches */
    mark();
    kCalls[i].call();
    mark();
  }
  return 0;
}
