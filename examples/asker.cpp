// asker: a plug-in that sends cloud messages and prints the answers. Usage: asker APPID MESSAGE...
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <memory>

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: asker APPID MESSAGE...\n");
    return 2;
  }
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  zel_debug = 0;  // The library's messages without function names and lines.
  char appid[PERM_APPID_SIZE] = {};
  if (perm_get_id(appid) != 0) {
    std::fprintf(stderr,
                 "asker: user %u is no plug-in's; run it in a router box, under a uid of the package file\n",
                 getuid());
    return 1;
  }
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
