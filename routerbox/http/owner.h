// owner.h: what of a server belongs to the box's owner.
#pragma once
#include <httplib.h>
#include <sys/types.h>

#include <optional>

namespace routerbox {

// The user whose program sent the request; none when it has gone already.
std::optional<uid_t> sender_of(const httplib::Request& request);

// Paths below /box/ are there for the user that the server runs as, root of the box; a plug-in under test must not
// change its own router. Others get HTTP status 403.
void keep_box_for_owner(httplib::Server* server);

}  // namespace routerbox
