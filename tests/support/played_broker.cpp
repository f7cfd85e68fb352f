#include "played_broker.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <utility>

namespace test {

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
  if (!readable(listener_.get())) {
    ADD_FAILURE() << "nobody connected within ten seconds";
    return;
  }
  const FrameSocket client(zel::Descriptor(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)));
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
