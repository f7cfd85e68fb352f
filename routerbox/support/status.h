// status.h: the exit statuses of the verbs, also sent over the control socket.
#pragma once

namespace routerbox {

enum Status : int {
  kDone = 0,
  kNo = 1,  // what was asked for is not there, or the answer is no
  kWrongCommandLine = 2,
  kFailed = 3,
  kNotAllowed = 4,
  kTimedOut = 5,
};

}  // namespace routerbox
