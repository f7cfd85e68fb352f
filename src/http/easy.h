// easy.h: a handle for one transfer of libcurl.
#ifndef ZEL_SRC_HTTP_EASY_H
#define ZEL_SRC_HTTP_EASY_H

#include "util/owners.h"

namespace zel::http {

// Null if libcurl cannot make one. Any thread may call.
CurlEasy new_easy();

}  // namespace zel::http

#endif
