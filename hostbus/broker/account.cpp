#include "account.h"

#include <grp.h>
#include <pwd.h>
#include <sys/socket.h>

#include <cerrno>
#include <vector>

namespace hostbus {
namespace {

// One look-up of the passwd or group database, whose records need a buffer of unknown size.
template <class Record, class Look>
std::string name_of(unsigned number, char* Record::*name, Look look) {
  std::vector<char> room(1024);
  Record record{};
  Record* found = nullptr;
  while (look(number, &record, room.data(), room.size(), &found) == ERANGE && room.size() < 1 << 20) {
    room.resize(room.size() * 4);
  }
  return found != nullptr ? found->*name : std::to_string(number);
}

}  // namespace

std::optional<Account> peer_account(int socket) {
  ucred peer{};
  socklen_t size = sizeof peer;
  if (getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return std::nullopt;
  return Account{name_of(peer.uid, &passwd::pw_name, ::getpwuid_r),
                 name_of(peer.gid, &group::gr_name, ::getgrgid_r), peer.pid};
}

}  // namespace hostbus
