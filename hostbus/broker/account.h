#pragma once

#include <sys/types.h>

#include <optional>
#include <string>

namespace hostbus {

struct Account {
  std::string user;
  std::string group;
  pid_t pid = 0;
};

// Who is at the other end of a unix socket. A user or group without a name is its number in decimal:
// plug-ins on a PC run under numbers that no account has.
std::optional<Account> peer_account(int socket);

}  // namespace hostbus
