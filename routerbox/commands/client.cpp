#include "client.h"

#include <httplib.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/un.h>

#include <algorithm>
#include <filesystem>

#include "../isolation/run_folder.h"
#include "../project/options.h"
#include "../support/nearest.h"
#include "../support/status.h"

namespace routerbox {
namespace {

// Longer than anything a verb waits for.
constexpr time_t kLimitSeconds = 60;
constexpr int kEndLimitMs = 10000;

// Projects in folders of one name, as two clones of it have them.
void check_is_ours(const std::string& name) {
  const std::string project = project_of(name), here = std::filesystem::current_path();
  if (project.empty() || project == here) return;
  throw Failure("the box " + name + " is that of " + project + "; --name " + name +
                    " reaches it, routerbox up --name NAME starts one of this folder",
                kNo);
}

// In a project's folder no other box is meant unless it is named: `down` there must not end a neighbour's.
std::string box_here(const std::string& given) {
  const std::vector<std::string> running = running_boxes();
  const std::string wanted = given.empty() ? project_name() : given;
  if (std::find(running.begin(), running.end(), wanted) != running.end()) {
    if (given.empty()) check_is_ours(wanted);
    return wanted;
  }
  if (wanted.empty() && running.size() == 1) return running.front();
  if (running.empty()) throw Failure("no box is running; routerbox up starts one", kNo);
  if (wanted.empty())
    throw Failure("several boxes are running; name one of them with --name: " + list_words(running), kNo);
  throw Failure(
      "no box named " + wanted + " is running" +
          (given.empty() ? "; routerbox up starts it, --name reaches another: " + list_words(running)
                         : advice_for(wanted, running)),
      kNo);
}

}  // namespace

BoxClient::BoxClient(const std::string& name) : name_(box_here(name)), socket_(socket_of(name_)) {}

std::string BoxClient::folder() const {
  return std::filesystem::path(socket_).parent_path();
}

Json BoxClient::call(const std::string& verb, const Json& arguments) const {
  httplib::Client client(socket_);
  client.set_address_family(AF_UNIX);
  client.set_read_timeout(kLimitSeconds);
  const httplib::Result result = client.Post("/" + verb, text_of(arguments), "application/json");
  if (!result) throw Failure("the box " + name_ + " does not answer", kFailed);
  Json answer = Json::parse(result->body, nullptr, false);
  if (!answer.is_object()) throw Failure("the box " + name_ + " gave no JSON: " + result->body, kFailed);
  if (result->status != 200)
    throw Failure(answer.value("error", "the box refuses"), answer.value("status", int{kFailed}));
  return answer;
}

pid_t BoxClient::process_one() const {
  const Descriptor end(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  socket_.copy(address.sun_path, sizeof address.sun_path - 1);
  ucred listener{};
  socklen_t size = sizeof listener;
  if (connect(end.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
      getsockopt(end.get(), SOL_SOCKET, SO_PEERCRED, &listener, &size) != 0)
    fail_errno("cannot reach the box " + name_);
  return listener.pid;
}

void BoxClient::end() const {
  const pid_t one = process_one();
  try {
    call("down", Json::object());
  } catch (const Failure& failure) {
    if (failure.status() != kFailed) throw;  // it may end before it has answered
  }
  wait_for_end(one);
}

void BoxClient::wait_for_end(pid_t process_one) const {
  const Descriptor process(static_cast<int>(syscall(SYS_pidfd_open, process_one, 0)));
  pollfd end{process.get(), POLLIN, 0};
  if (process && retry([&] { return poll(&end, 1, kEndLimitMs); }) == 0)
    throw Failure("the box " + name_ + " has not ended within 10 seconds", kTimedOut);
  // Its name is free a moment later, when the process outside has cleaned up.
  constexpr int kMostLooks = 400;
  for (int looks = 0; looks < kMostLooks && access(folder().c_str(), F_OK) == 0; ++looks) poll(nullptr, 0, 5);
}

}  // namespace routerbox
