// Finding the name of the plug-in's object.
#include <zel/cloud.h>
#include <zel/perm.h>

#include <cstdio>
#include <cstring>

#include "base/handles.h"
#include "base/log.h"
#include "base/plain_format.h"

int zel_cloud_get_object_name(char* name, size_t size) {
  char appid[PERM_APPID_SIZE] = {};
  if (perm_get_id(appid) != 0) {
    ZEL_LOG(LOG_ERR, "[ZEL]", "permission get id fail.\n\n");
    return -1;
  }
  snprintf(name, size, "%s%s", "zel_", appid);
  return 0;
}

int zel_cloud_get_object_name_abandon(char* name, size_t size) {
  constexpr char kPrefix[] = ".pluginInfo-";
  constexpr size_t kPrefixLength = sizeof kPrefix - 1;

  const zel::Directory parent(opendir("../"));
  if (!parent) {
    perror("opendir ../ fail");
    return -1;
  }
  int result = -1;
  while (const dirent* entry = readdir(parent.get())) {
    if (strncmp(entry->d_name, kPrefix, kPrefixLength) != 0) continue;
    // Kept: the rest of the name is a format text. Anyone who may write there could put any conversion into
    // it.
    char format[2 * sizeof entry->d_name];
    zel::plain_format(entry->d_name + kPrefixLength, format, sizeof format);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    snprintf(name, size, format);
#pragma GCC diagnostic pop
    result = 0;
  }
  return result;
}
