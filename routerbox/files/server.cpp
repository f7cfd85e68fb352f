#include "server.h"

#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

#include "../io.h"
#include "content.h"
#include "transfer.h"

namespace routerbox::files {
namespace {

namespace fs = std::filesystem;
using httplib::Request;
using httplib::Response;

constexpr int kNotFound = 404;
constexpr std::chrono::hours kSilence(1);
constexpr time_t kPatienceSeconds = 60;  // with a client that reads nothing

// The patterns of the routes allow no number that does not fit.
uint64_t number(const Request& request, size_t place) {
  return std::stoull(request.matches[place]);
}

Content generated(uint64_t size) {
  return {size, [](uint64_t offset, char* block, size_t length) {
            fill_content(offset, block, length);
            return true;
          }};
}

std::optional<Content> opened(const fs::path& folder, const fs::path& name) {
  for (const fs::path& part : name)
    if (part == ".." || part == "/") return std::nullopt;
  auto file = std::make_shared<Descriptor>(open((folder / name).c_str(), O_RDONLY | O_CLOEXEC));
  struct stat status {};
  if (!*file || fstat(file->get(), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  return Content{static_cast<uint64_t>(status.st_size),
                 [file = std::move(file)](uint64_t offset, char* block, size_t length) {
                   const auto place = static_cast<off_t>(offset);
                   return pread(file->get(), block, length, place) == static_cast<ssize_t>(length);
                 }};
}

}  // namespace

void route(LoopbackServer* server, const std::string& folder) {
  if (!folder.empty() && !fs::is_directory(folder)) throw Failure(folder + " is not a folder");
  server->set_write_timeout(kPatienceSeconds);
  server->Get("/files/(.+)", [folder](const Request& request, Response& response) {
    const std::optional<Content> file =
        folder.empty() ? std::nullopt : opened(folder, request.matches[1].str());
    if (!file) {
      response.status = kNotFound;
      return;
    }
    send_content(request, response, *file, {});
  });
  server->Get(R"(/bytes/(\d{1,18}))", [](const Request& request, Response& response) {
    send_content(request, response, generated(number(request, 1)), {});
  });
  server->Get(R"(/slow/([1-9]\d{0,17})/(\d{1,18}))", [](const Request& request, Response& response) {
    send_content(request, response, generated(number(request, 2)), {number(request, 1), {}});
  });
  server->Get(R"(/drop/(\d{1,18})/(\d{1,18}))", [](const Request& request, Response& response) {
    send_content(request, response, generated(number(request, 2)), {{}, number(request, 1)});
  });
  server->Get(R"(/status/([2-9]\d\d))", [](const Request& request, Response& response) {
    response.status = static_cast<int>(number(request, 1));
    response.set_content("HTTP " + request.matches[1].str() + "\n", "text/plain");
  });
  server->Get(R"(/redirect/(3\d\d))", [](const Request& request, Response& response) {
    response.set_redirect(request.get_param_value("to"), static_cast<int>(number(request, 1)));
  });
  server->Get("/hang", [](const Request&, Response&) { std::this_thread::sleep_for(kSilence); });
}

}  // namespace routerbox::files
