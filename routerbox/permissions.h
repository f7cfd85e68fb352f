// permissions.h: the seam to the library's permission table.
#pragma once

namespace routerbox {

// Fills the box's permission table from its /etc/norva. Throws Failure with the code's meaning.
void fill_permission_table();

}  // namespace routerbox
