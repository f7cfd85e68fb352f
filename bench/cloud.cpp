// A cloud message to another process and back, beside the same exchange made with libubus alone.
#include <zel/zel.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bare_exchange.h"
#include "children.h"
#include "pairs.h"

namespace {

using Send = char* (*)(const char* target, const char* message);

template <Send send>
void exchange(const std::string& message) {
  char* const answer = send(children::kServerAppid, message.c_str());
  if (answer == nullptr || message != answer) {
    std::fputs("a message was not answered with its own text\n", stderr);
    std::exit(1);
  }
  std::free(answer);
}

void compare_with_size(size_t bytes) {
  const std::string message(bytes, 'm');
  pairs::compare(
      "cloud message and answer, " + std::to_string(bytes) + " B each",
      [=] { exchange<zel_cloud_msg_send>(message); }, [=] { exchange<bare_exchange>(message); });
}

}  // namespace

int main(int argc, char** argv) {
  zel_debug = 0;
  const std::unique_ptr<children::Child> server = children::start_server();
  if (!server) {
    std::fputs("the serving plug-in did not come up\n", stderr);
    return 1;
  }
  for (const size_t bytes : {32U, 256U, 1000U, 4000U}) compare_with_size(bytes);
  return pairs::run(argc, argv);
}
