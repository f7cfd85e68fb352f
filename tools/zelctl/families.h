// families.h: the families of commands, a file each.
#pragma once
#include "command.h"

namespace zelctl {

extern const Family kBusFamily;
extern const Family kCloudFamily;
extern const Family kDeviceFamily;
extern const Family kDoctorFamily;
extern const Family kDownloadFamily;
extern const Family kEventFamily;
extern const Family kHttpFamily;
extern const Family kPermFamily;
extern const Family kRouterFamily;

}  // namespace zelctl
