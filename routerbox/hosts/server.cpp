#include "server.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iostream>
#include <optional>
#include <thread>

#include "../files/transfer.h"
#include "../support/nearest.h"
#include "side_file.h"

namespace routerbox::hosts {
namespace {

namespace fs = std::filesystem;
using files::Content;

constexpr int kOk = 200, kNotFound = 404, kBroken = 500;

constexpr struct {
  const char* ending;
  const char* type;
} kTypes[] = {{".html", "text/html; charset=utf-8"},
              {".css", "text/css"},
              {".js", "text/javascript"},
              {".txt", "text/plain; charset=utf-8"},
              {".xml", "application/xml"},
              {".json", "application/json"},
              {".png", "image/png"},
              {".jpg", "image/jpeg"},
              {".svg", "image/svg+xml"}};

const char* type_of(const fs::path& name) {
  for (const auto& row : kTypes)
    if (name.extension() == row.ending) return row.type;
  return Content().type;
}

struct Found {
  std::string name;
  std::optional<Content> content;
  std::optional<SideFile> side;
};

std::optional<Found> find_content(const fs::path& folder, const std::string& name) {
  Found found{name, files::open_file(folder, name), std::nullopt};
  const std::string side = name + kSideFile;
  if (files::open_file(folder, side)) found.side = read_side_file(folder / side);
  if (!found.content && !found.side) return std::nullopt;
  if (found.content) found.content->type = type_of(name);
  return found;
}

// Relative to the host's folder, the best first.
std::vector<std::string> names_for(const httplib::Request& request) {
  std::string path = request.path;
  path.erase(0, path.find_first_not_of('/'));
  std::vector<std::string> names;
  const size_t query = request.target.find('?');
  if (query != std::string::npos) names.push_back(path + request.target.substr(query));
  if (!path.empty() && path.back() != '/') names.insert(names.end(), {path, path + ".json"});
  const std::string inside = path.empty() || path.back() == '/' ? path : path + "/";
  for (const char* index : {"index.html", "index.json"}) names.push_back(inside + index);
  return names;
}

void send_text(httplib::Response& response, int status, const std::string& text) {
  response.status = status;
  response.set_content(text + "\n", "text/plain");
}

// Into the response, but for what a fault puts in its place; into the reply what holds it back.
void send_found(httplib::Request request, const Found& found, Reply* reply, httplib::Response& response) {
  const SideFile side = found.side.value_or(SideFile());
  if (side.status != kOk) request.ranges.clear();
  if (found.content) files::send_content(request, response, *found.content, files::manner_of(*reply));
  if (side.status != kOk) response.status = side.status;
  for (const auto& [name, value] : side.headers) {
    response.headers.erase(name);
    response.set_header(name, value);
  }
  reply->before += std::chrono::duration_cast<std::chrono::milliseconds>(side.delay);
}

void send_from(const OutsideHost& host, const httplib::Request& request, Reply* reply,
               httplib::Response& response) {
  const std::vector<std::string> names = names_for(request);
  for (const std::string& name : names)
    if (const std::optional<Found> found = find_content(host.folder, name))
      return send_found(request, *found, reply, response);
  send_text(response, kNotFound, "there is no file " + host.folder + "/" + names.front());
}

void check_side_files(const OutsideHost& host) {
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(host.folder))
    if (entry.path().string().ends_with(kSideFile)) read_side_file(entry.path());
}

}  // namespace

Outside::Outside(std::vector<OutsideHost> hosts, Faults& faults, RequestLog& log)
    : hosts_(std::move(hosts)), faults_(faults), log_(log) {
  for (const OutsideHost& host : hosts_) check_side_files(host);
}

const OutsideHost* Outside::host_of(const httplib::Request& request) const {
  std::string name = request.get_header_value("Host");
  name.erase(std::min(name.find(':'), name.size()));
  std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return std::tolower(c); });
  const auto host = std::find_if(hosts_.begin(), hosts_.end(),
                                 [&](const OutsideHost& other) { return other.name == name; });
  return host == hosts_.end() ? nullptr : &*host;
}

// With a body where the fault has one in place of the host's answer, which is then left alone.
Reply Outside::reply_of(const OutsideHost* host, const std::string& name, const httplib::Request& request,
                        const std::optional<Fault>& fault, httplib::Response& response) const {
  Reply reply;
  if (fault) fault->play(&reply);
  if (reply.body) return reply;
  try {
    if (host != nullptr)
      send_from(*host, request, &reply, response);
    else
      send_text(response, kNotFound, "no host of the box is named '" + name + "'");
  } catch (const Failure& failure) {
    std::cerr << std::string(failure.what()) + "\n" << std::flush;
    send_text(response, kBroken, failure.what());
  }
  reply.status = response.status > 0 ? response.status : kOk;
  return reply;
}

void Outside::answer(const char* scheme, const httplib::Request& request, const std::string& body,
                     httplib::Response& response) {
  const Arrival arrival = now();
  const OutsideHost* const host = host_of(request);
  const std::string name = host != nullptr ? host->name : request.get_header_value("Host");
  const std::optional<Fault> fault = faults_.take({name});
  const Reply reply = reply_of(host, name, request, fault, response);
  log_.write(request, arrival,
             {request.method + " " + scheme + "://" + name + request.target, "", std::to_string(reply.status),
              fault ? fault->kind->name : "", body.empty() ? Json() : Json{{"request", body}}, name});
  if (reply.body) return send(reply, response);
  std::this_thread::sleep_for(reply.before);
}

}  // namespace routerbox::hosts
