#include "plugin_user.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cstring>

#include "failure.h"
#include "perm_table.h"
#include "text.h"

namespace zelctl {

const char* appid_value(const char* text) {
  const size_t length = std::strlen(text);
  if (length != 0 && length < PERM_APPID_SIZE && std::strspn(text, "0123456789") == length) return text;
  fail(kUsage, "These are known: zelctl perm list", "APPID: an appid is 1 to 63 digits");
}

void become(const char* appid) {
  if (geteuid() != 0) fail(kNotPermitted, "Run it as root.", "only root can run something as another user");
  const TableCopy table = read_table();
  const uid_t uid = plugin_of(*table, appid).uid;
  const passwd* const account = getpwuid(uid);
  const gid_t group = account != nullptr ? account->pw_gid : uid;
  const bool done =
      setgroups(0, nullptr) == 0 && setresgid(group, group, group) == 0 && setresuid(uid, uid, uid) == 0;
  if (!done)
    fail(kFailed, "In a box: does it have as many users as that? On the router: is this really root?",
         "uid %u of %s cannot be taken on", uid, appid);
}

std::string missing_account() {
  if (getpwuid(getuid()) == nullptr) return format("uid %u has no account name", getuid());
  if (getgrgid(getgid()) == nullptr) return format("gid %u has no group name", getgid());
  return "";
}

}  // namespace zelctl
