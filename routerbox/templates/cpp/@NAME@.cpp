// Answers cloud messages. The headers are the manual: begin with zel/zel.h.
#include <unistd.h>
#include <zel/zel.h>

#include <cstdio>
#include <iostream>
#include <string>
#include <string_view>

namespace {

// Called by the service thread; no exception may leave it.
int answer(const char* message, uint32_t length, char* reply, uint32_t size) noexcept {
  std::cout << "asked: " << std::string_view(message, length) << std::endl;
  std::snprintf(reply, size, "%u bytes, thank you", static_cast<unsigned>(length));
  return 0;
}

}  // namespace

int main() {
  if (zel_service_init() != 0 || zel_cloud_msg_handler_register(answer) != 0) {
    std::cerr << "no cloud messages: not a plug-in's user, or without ability 2\n";
    return 1;
  }
  for (;;) pause();
}
