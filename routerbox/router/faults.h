// faults.h: faults only a router can have.
#pragma once
#include "../http/fault.h"

namespace routerbox::router {

//   types     texts become numbers and numbers texts, except in the ResponseHeader
//   error     "code" (5), "text": this ErrorCode and ErrorMsg; the call is not carried out
//   oversize  "bytes" (20000): so much padding in the answer
std::vector<FaultKind> own_faults();

}  // namespace routerbox::router
