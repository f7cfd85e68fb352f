#include "plugin_user.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include "perm_codes.h"
#include "perm_table.h"
#include "text.h"

namespace zelctl {

std::string appid_value(const char* text) {
  const std::string appid = text;
  const bool digits = !appid.empty() && appid.find_first_not_of("0123456789") == std::string::npos;
  if (digits && appid.size() < PERM_APPID_SIZE) return appid;
  throw Failure(kUsage, "APPID: an appid is 1 to 63 digits", "These are known: zelctl perm list");
}

void become(const std::string& appid) {
  if (geteuid() != 0)
    throw Failure(kNotPermitted, "only root can run something as another user", "Run it as root.");
  const Table table = read_table();
  const perm_plugin_info* const plugin = table.find(appid);
  if (plugin == nullptr) throw perm_failure(appid, PERM_UNKNOWN_APP);
  const passwd* const account = getpwuid(plugin->uid);
  const gid_t group = account != nullptr ? account->pw_gid : plugin->uid;
  const bool done = setgroups(0, nullptr) == 0 && setresgid(group, group, group) == 0 &&
                    setresuid(plugin->uid, plugin->uid, plugin->uid) == 0;
  if (!done)
    throw Failure(kFailed, format("uid %u of %s cannot be taken on", plugin->uid, appid.c_str()),
                  "In a box: does it have as many users as that? On the router: is this really root?");
}

std::string missing_account() {
  if (getpwuid(getuid()) == nullptr) return format("uid %u has no account name", getuid());
  if (getgrgid(getgid()) == nullptr) return format("gid %u has no group name", getgid());
  return "";
}

}  // namespace zelctl
