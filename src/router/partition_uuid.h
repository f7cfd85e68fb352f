// partition_uuid.h: the file-system UUID of a partition, from the router's blkid.
#pragma once

#include <zel/router.h>

namespace zel {

// Fills the record's UUID, terminated; leaves it alone if it cannot be found, and if the name (text of the
// router) is not that of a device: it becomes part of a command line.
void get_partition_uuid(zel_partition_info* partition, const char* name);

}  // namespace zel
