// packages.h: the router's package file, as far as the box needs it: who runs under which uid.
#pragma once
#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

namespace routerbox {

struct Package {
  std::string appname, appid;
  uid_t uid = 0;
  uint32_t abilities = 0;

  bool may_receive_cloud_messages() const { return (abilities & 2U) != 0; }
};

// Throws Failure naming `origin` when the text is no package file.
std::vector<Package> parse_packages(const std::string& text, const std::string& origin);

// Throws Failure when no package has this appid.
const Package& package_of(const std::vector<Package>& packages, const std::string& appid);

// Account lines for the plug-ins' uids, to be added to the host's /etc/passwd or /etc/group. Ids that the
// file knows already keep the name they have there.
std::string with_accounts(std::string passwd, const std::vector<Package>& packages);
std::string with_groups(std::string group, const std::vector<Package>& packages);

}  // namespace routerbox
