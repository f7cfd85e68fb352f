// played_broker.h: a broker played by a test, frame by frame, for programs with a real client library.
#pragma once

#include <functional>
#include <string>
#include <thread>

#include "raw_client.h"

namespace test {

// A broker for one client. A wait in the script or in the test takes at most ten seconds; then the test fails.
class PlayedBroker {
 public:
  // Runs on a thread of its own, once a client has connected and been greeted; afterwards the connection ends.
  using Script = std::function<void(const FrameSocket& client)>;
  explicit PlayedBroker(Script script, const ByteString& greeting = frame(kHello, 0, 0x9dcef7a9, {}));
  ~PlayedBroker();
  PlayedBroker(const PlayedBroker&) = delete;
  PlayedBroker& operator=(const PlayedBroker&) = delete;

  // The socket. To play the system's broker, put a symbolic link to it at the usual path.
  const std::string& path() const { return path_; }

  // Waits for the script's end.
  void finish();

 private:
  void serve(const Script& script, const ByteString& greeting);

  std::string folder_;
  std::string path_;
  zel::Descriptor listener_;
  std::thread thread_;
};

// What a broker answers to any request: an object with the id, its type, a text "granted", and status 0.
constexpr uint32_t kPlayedObject = 5000;
ByteString granted(const Received& request);

}  // namespace test
