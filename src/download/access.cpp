#include "download/access.h"

#include <cstring>

#include "perm/permit.h"
#include "service/log.h"

namespace {

int check(const char* who, char (&appid)[PERM_APPID_SIZE]) {
  memset(appid, 0, 4);
  const zel::Permit permit = zel::ask_permit(ability_download, appid);
  ZEL_TRACE_AS(who, "[ZEL]", "get_id_ret:%d  appid:%s \n", permit.found, appid);
  if (permit.found != 0) return -1;
  ZEL_TRACE_AS(who, "[ZEL]", "perm_check_ret:%d\n", permit.granted);
  return permit.granted == 0 ? 0 : -1;
}

}  // namespace

namespace zel::download {

int check_permission_appid(char (&appid)[PERM_APPID_SIZE]) noexcept {
  return check(__func__, appid);
}

int check_permission() noexcept {
  char appid[PERM_APPID_SIZE] = {};
  return check(__func__, appid);
}

}  // namespace zel::download
