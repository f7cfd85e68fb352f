// faults.h: faults only the download daemon can have.
#pragma once
#include "../http/fault.h"

namespace routerbox::downloads {

//   error    "code" (1), "text": one error object in place of the whole answer, also of a batch's; the calls are
//            not carried out
//   size     "elements" (1): the answer to a batch has so many elements, its last one repeated if need be
//   without  "member" ("appid"): every member of this name is missing, at any depth of the answer
//   types    every text of the answer is a number
std::vector<FaultKind> own_faults();

// All methods of the daemon.
std::vector<std::string> methods();

}  // namespace routerbox::downloads
