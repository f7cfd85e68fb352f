// caller.h: what the calling user is to the router, found out before a library call that would only say no.
#pragma once
#include <zel/perm.h>

#include <string>

namespace zelctl {

// The appid of the calling user. Fails if it is no plug-in's.
std::string caller_appid();

// Fails unless the caller holds the ability.
void require_ability(perm_ability ability);

}  // namespace zelctl
