// families.h: the families of commands, a file each.
#pragma once
#include "command.h"

namespace zelctl {

extern const Family kDeviceFamily;
extern const Family kHttpFamily;
extern const Family kPermFamily;

}  // namespace zelctl
