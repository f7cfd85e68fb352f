#include "peers.h"

#include <arpa/inet.h>
#include <linux/inet_diag.h>
#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cstdio>
#include <cstring>

#include "../support/io.h"
#include "../support/json.h"

namespace routerbox {
namespace {

struct Question {
  nlmsghdr header;
  inet_diag_req_v2 request;
};

Question question_about(const Connection& connection) {
  Question question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request.sdiag_family = AF_INET;
  question.request.sdiag_protocol = IPPROTO_TCP;
  inet_diag_sockid& id = question.request.id;
  id.idiag_sport = htons(connection.client_port);
  id.idiag_dport = htons(connection.server_port);
  inet_pton(AF_INET, connection.client.c_str(), id.idiag_src);
  inet_pton(AF_INET, connection.server.c_str(), id.idiag_dst);
  id.idiag_cookie[0] = id.idiag_cookie[1] = INET_DIAG_NOCOOKIE;
  return question;
}

std::string roster_file(const std::string& folder) {
  return folder + "/roster.json";
}

}  // namespace

void write_roster(const std::string& folder, const Roster& roster) {
  Json plugins = Json::array();
  for (const Plugin& plugin : roster.plugins)
    plugins.push_back(
        {{"name", plugin.name}, {"appid", plugin.appid}, {"uid", plugin.uid}, {"data", plugin.data}});
  const std::string file = roster_file(folder), next = file + ".new";
  write_file(next, text_of({{"started", roster.started}, {"plugins", plugins}}) + "\n", 0644);
  if (std::rename(next.c_str(), file.c_str()) != 0) fail_errno("cannot write " + file);
}

Roster read_roster(const std::string& folder) {
  const std::string file = roster_file(folder);
  Roster roster;
  try {
    const Json json = Json::parse(read_file(file));
    json.at("started").get_to(roster.started);
    for (const Json& plugin : json.at("plugins"))
      roster.plugins.push_back({plugin.at("name"), plugin.at("appid"), plugin.at("uid"), plugin.at("data")});
  } catch (const Json::exception& error) {
    throw Failure(file + " does not hold the box's plug-ins: " + error.what());
  }
  return roster;
}

// Asked of the kernel for this one connection: /proc/net/tcp has the same, but is slow to read on machines with
// large tables.
std::optional<uid_t> owner_of(const Connection& connection) {
  const Descriptor kernel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  const Question question = question_about(connection);
  if (!kernel || send(kernel.get(), &question, sizeof question, 0) < 0) return std::nullopt;
  alignas(nlmsghdr) char answer[4096];
  const ssize_t length = retry([&] { return recv(kernel.get(), answer, sizeof answer, 0); });
  auto* const header = reinterpret_cast<nlmsghdr*>(answer);
  if (length < 0 || !NLMSG_OK(header, static_cast<size_t>(length)) ||
      header->nlmsg_type != SOCK_DIAG_BY_FAMILY)
    return std::nullopt;
  const auto* const found = static_cast<const inet_diag_msg*>(NLMSG_DATA(header));
  // A socket that no process holds any more is reported as root's.
  if (found->idiag_inode == 0) return std::nullopt;
  return found->idiag_uid;
}

std::optional<Plugin> plugin_of(uid_t uid, const std::string& folder) {
  for (const Plugin& plugin : read_roster(folder).plugins)
    if (plugin.uid == uid) return plugin;
  return std::nullopt;
}

std::string name_of(std::optional<uid_t> uid, const std::string& folder) {
  if (!uid) return "?";
  if (*uid == 0) return "root";
  try {
    if (const std::optional<Plugin> plugin = plugin_of(*uid, folder)) return plugin->name;
  } catch (const Failure&) {
    // The number is better than no answer to the plug-in's request.
  }
  return "uid " + std::to_string(*uid);
}

}  // namespace routerbox
