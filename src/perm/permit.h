// permit.h: both questions of a guarded call at once.
#ifndef ZEL_SRC_PERM_PERMIT_H
#define ZEL_SRC_PERM_PERMIT_H

#include <zel/perm.h>

namespace zel {

struct Permit {
  int found;    // what perm_get_id tells,
  int granted;  // and then perm_check; only if that was 0
};

// Asks for the caller's appid, then for an ability of it. The table is attached once, which is most of what the
// two calls cost.
Permit ask_permit(uint32_t ability, char* appid) noexcept;

}  // namespace zel

#endif
