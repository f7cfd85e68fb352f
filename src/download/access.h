// access.h: whether the caller may use the download daemon.
#pragma once

#include <zel/perm.h>

namespace zel::download {

// Return 0 if the caller's appid is known and holds the ability, else -1. Both ask the table anew each time.
// The first tells the appid as well; clear it before.
int check_permission_appid(char (&appid)[PERM_APPID_SIZE]) noexcept;
int check_permission() noexcept;

}  // namespace zel::download
