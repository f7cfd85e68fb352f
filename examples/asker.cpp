// asker: a plug-in that sends cloud messages and prints the answers. Usage: asker APPID MESSAGE...
#include <cstdio>
#include <memory>

#include "plugin.h"

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: asker APPID MESSAGE...\n");
    return 2;
  }
  char appid[PERM_APPID_SIZE];
  if (begin_plugin("asker", appid) != 0) return 1;
  std::printf("I am plug-in %s, user %u; ability 2 (cloud communication): %s\n", appid, getuid(),
              perm_check(ability_cloud_communication, appid) == 0 ? "granted" : "not granted");

  int unanswered = 0;
  for (int i = 2; i < argc; ++i) {
    std::printf("to %s: %s\n", argv[1], argv[i]);
    const std::unique_ptr<char, void (*)(void*)> answer(zel_cloud_msg_send(argv[1], argv[i]), zel_free);
    std::printf("answer: %s\n", answer ? answer.get() : "none");
    if (!answer) ++unanswered;
  }
  return unanswered == 0 ? 0 : 1;
}
