// Answers cloud messages. The headers are the manual: begin with zel/zel.h and zel/zel.hpp.
#include <unistd.h>
#include <zel/zel.hpp>

#include <iostream>

int main() {
  // Called by the service thread, one message at a time.
  const auto answer = [](std::string_view message) {
    std::cout << "asked: " << message << std::endl;
    return std::to_string(message.size()) + " bytes, thank you";
  };
  const auto served = zel::service::start().and_then([&] { return zel::cloud::serve(answer); });
  if (!served) {
    std::cerr << "no cloud messages: not a plug-in's user, or without ability 2; " << served.error().text()
              << '\n';
    return 1;
  }
  for (;;) pause();
}
