#include "caller.h"

#include <unistd.h>

#include "abilities.h"
#include "ending.h"
#include "failure.h"
#include "perm_codes.h"
#include "text.h"

namespace zelctl {
namespace {

std::string find_appid() {
  const Limit limit(5, "Who holds it: zelctl perm list", "the permission table stayed locked");
  char appid[PERM_APPID_SIZE] = {};
  const int code = perm_get_id(appid);
  if (code == PERM_UNKNOWN_APP)
    fail_with(code, kNotPermitted, "Run it as root, or as root for a plug-in: zelctl --as APPID ...",
              "uid %u is no plug-in's", getuid());
  if (code != 0) fail_perm(code, "the caller's appid");
  if (*appid == '\0')
    fail(kFailed, "Fill it anew: zelctl perm init --again", "the permission table is broken");
  return appid;
}

}  // namespace

std::string caller_appid() {
  read_table();  // Says what is wrong with it, and that it is locked.
  return find_appid();
}

void require_ability(perm_ability ability) {
  const TableCopy table = read_table();
  const std::string appid = find_appid();
  const int code = perm_check(static_cast<uint32_t>(ability), appid.c_str());
  if (code == 0) return;
  if (code != PERM_NOT_GRANTED) fail_perm(code, "ability %d", ability);
  const uint32_t bits =
      plugin_of(*table, appid.c_str()).abilitybits | 1U << static_cast<unsigned>(ability - 1);
  const std::string advice =
      format("Grant it, as root: zelctl perm update %s --abilities %s. Or be another: zelctl --as APPID ...",
             appid.c_str(), ability_list(bits).c_str());
  fail_with(code, kNotPermitted, advice.c_str(), "plug-in %s does not hold ability %d (%s)", appid.c_str(),
            ability, ability_name(*table, ability).c_str());
}

}  // namespace zelctl
