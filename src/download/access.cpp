#include "download/access.h"

#include <zel/perm.h>

#include <cstring>

#include "base/log.h"

namespace {

int check(const char* who, char (&appid)[PERM_APPID_SIZE]) {
  memset(appid, 0, 4);
  const int found = perm_get_id(appid);
  ZEL_TRACE_AS(who, "[ZEL]", "get_id_ret:%d  appid:%s \n", found, appid);
  if (found != 0) return -1;
  const int granted = perm_check(ability_download, appid);
  ZEL_TRACE_AS(who, "[ZEL]", "perm_check_ret:%d\n", granted);
  return granted == 0 ? 0 : -1;
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
