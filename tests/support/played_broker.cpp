#include "played_broker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>
#include <utility>

namespace test {
namespace {

// The box's recorder looks for the broker too, and may be first.
bool is_recorder(int client) {
  ucred peer{};
  socklen_t size = sizeof peer;
  std::string name;
  if (getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0)
    std::ifstream("/proc/" + std::to_string(peer.pid) + "/comm") >> name;
  return name == "boxbus";
}

// The next connection of the library; none if nobody connects within ten seconds.
zel::Descriptor accept_library(int listener) {
  while (readable(listener)) {
    zel::Descriptor client(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
    if (!is_recorder(client.get())) return client;
  }
  return zel::Descriptor();
}

}  // namespace

PlayedBroker::PlayedBroker(Script script, const ByteString& greeting)
    : listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  char folder[] = "/tmp/played_broker.XXXXXX";
  folder_ = mkdtemp(folder);
  path_ = folder_ + "/bus";
  const sockaddr_un address = address_of(path_);
  EXPECT_EQ(bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(listener_.get(), 8), 0);
  thread_ = std::thread([this, script = std::move(script), greeting] { serve(script, greeting); });
}

PlayedBroker::~PlayedBroker() {
  finish();
  unlink(path_.c_str());
  rmdir(folder_.c_str());
}

void PlayedBroker::finish() {
  if (thread_.joinable()) thread_.join();
}

void PlayedBroker::serve(const Script& script, const ByteString& greeting) {
  zel::Descriptor accepted = accept_library(listener_.get());
  if (!accepted) {
    ADD_FAILURE() << "nobody connected within ten seconds";
    return;
  }
  const FrameSocket client(std::move(accepted));
  try {
    client.send(greeting);
    script(client);
  } catch (const std::exception& failure) {
    ADD_FAILURE() << "the played broker: " << failure.what();
  }
}

ByteString granted(const Received& request) {
  const ByteString text = field(kString, "description", {terminated("granted")});
  const Parts answer = {number(kObject, kPlayedObject), number(kType, 6000), attribute(kPayload, {text})};
  return joined({data(request, answer), status(request, 0)});
}

}  // namespace test
